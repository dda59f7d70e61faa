// The settings of the next build, as a form.

const FLAGS = ['lock_surface_boundaries', 'prevent_xy_foldovers', 'prevent_uv_foldovers'];
const NUMBERS = ['join_vertices_threshold', 'join_normals_threshold', 'join_uvs_threshold'];

export class SettingsForm {
  constructor(form, onSubmit) {
    this.form = form;
    this.progress = form.querySelector('#progress');
    this.bar = form.querySelector('#progress-bar');
    this.text = form.querySelector('#progress-text');
    this.button = form.querySelector('#rebuild');
    this.lastSeconds = null;
    form.addEventListener('submit', (event) => {
      event.preventDefault();
      onSubmit(this.values());
    });
  }

  get busy() {
    return this.button.disabled;
  }

  fill(settings) {
    const field = (name) => this.form.elements[name];
    field('maintain_uvs').value = String(settings.maintain_uvs);
    field('maintain_normals').value = String(settings.maintain_normals);
    for (const name of FLAGS) field(name).checked = settings[name];
    for (const name of NUMBERS) field(name).value = settings[name];
    field('error_tolerance').value = settings.error_tolerance ?? '';
  }

  values() {
    const field = (name) => this.form.elements[name];
    const normals = field('maintain_normals').value;
    const tolerance = field('error_tolerance').value;
    return {
      maintain_uvs: field('maintain_uvs').value === 'true',
      maintain_normals: normals === 'auto' ? 'auto' : normals === 'true',
      ...Object.fromEntries(FLAGS.map((name) => [name, field(name).checked])),
      ...Object.fromEntries(NUMBERS.map((name) => [name, Number(field(name).value)])),
      error_tolerance: tolerance === '' || Number(tolerance) === 0 ? null : Number(tolerance),
    };
  }

  // The build tells its phases but no shares: the bar fills in the time that the last build took, and waits near its
  // end for this one.
  begin(secondsExpected) {
    this.button.disabled = true;
    this.progress.hidden = false;
    this.text.textContent = 'Reading the model…';
    this.bar.removeAttribute('aria-valuenow');
    const started = performance.now();
    const expected = Math.max(0.5, secondsExpected ?? 2) * 1000;
    const show = () => {
      const share = Math.min(0.95, (performance.now() - started) / expected);
      this.bar.firstElementChild.style.width = `${share * 100}%`;
      this.bar.setAttribute('aria-valuenow', String(Math.round(share * 100)));
    };
    show();
    this.timer = setInterval(show, 200);
  }

  phase(text) {
    this.text.textContent = text;
  }

  end() {
    clearInterval(this.timer);
    this.button.disabled = false;
    this.progress.hidden = true;
  }
}
