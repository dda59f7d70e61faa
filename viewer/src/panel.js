// What the panel and the labels tell of the model and of its present step.
import { showDeviation } from './deviation.js';
import { element, page, SLIDER_LENGTH } from './page.js';
import { FaceScale } from './scale.js';
import { counted, percent, whole } from './words.js';

export function showNumbers(head) {
  const { state } = page;
  if (document.activeElement !== element('faces') || !page.typing) element('faces').value = head.faces;
  element('share').value = percent(head.faces, state.faces_before);
  if (!page.dragging) element('slider').value = page.scale.place(head.faces);
  element('slider').setAttribute('aria-valuetext', counted(head.faces, 'face'));
  element('step').textContent = `${whole(head.step)} of ${whole(head.steps)}`;
  element('vertices').textContent = head.vertices === null ? '–' : whole(head.vertices);
  showDeviation();
  element('stopped').hidden = !head.stopped;
  element('stopped').textContent = head.stopped ? `The coarsest mesh: ${head.stopped}.` : '';
  element('status').textContent = head.status;
  element('label-original').textContent = `Original · ${counted(state.faces_prepared, 'face')}`;
  element('label-reduced').textContent = `${counted(head.faces, 'face')} · ${percent(head.faces, state.faces_before)}`;
  for (const button of document.querySelectorAll('[data-move]')) {
    const down = ['lowest', 'coarser'].includes(button.dataset.move);
    button.disabled = down ? head.step >= head.steps : head.step === 0;
  }
}

// What is degenerate or there twice is not taken into the hierarchy.
function cleaned({ faces_before: before, faces_prepared: prepared }) {
  return prepared && prepared !== before ? ` (${whole(prepared)} after clean-up)` : '';
}

export function showState(state) {
  page.scale = new FaceScale(state.fewest_faces ?? 0, state.faces_prepared ?? 1, SLIDER_LENGTH);
  document.title = `${state.name} – Mirel`;
  element('name').textContent = state.name;
  element('summary').textContent = [
    `${counted(state.faces_before, 'face')}${cleaned(state)}`,
    `${whole(state.vertices_before ?? 0)} vertices`,
    counted(state.materials.length, 'material'),
  ].join(' · ');
  element('textures-switch').hidden = !state.materials.some((material) => material.texture);
  element('heat-switch').hidden = !state.distances;
  const formats = state.formats ?? [];
  element('save-section').hidden = formats.length === 0;
  element('format').replaceChildren(...formats.map(({ extension, name }) => new Option(name, extension)));
  element('faces').max = state.faces_prepared;
  element('faces').disabled = false;
  element('slider').disabled = false;
}
