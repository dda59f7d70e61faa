// What the controls do.
import { measureDeviation } from './deviation.js';
import { updateHeat } from './distance_map.js';
import { fit, setUp } from './fitting.js';
import { move, press, refetch } from './frames.js';
import { applySwitches, look } from './looks.js';
import { say } from './message.js';
import { setComparing } from './original.js';
import { dark, element, page, stage } from './page.js';
import { save } from './saving.js';

export function bindControls() {
  const slider = element('slider');
  const slide = (live) => move({ to: 'faces', value: page.scale.faces(Number(slider.value)), live });
  slider.addEventListener('input', () => {
    page.dragging = true;
    clearTimeout(page.rest);
    // Keys send no end of their own.
    page.rest = setTimeout(() => {
      page.dragging = false;
    }, 200);
    element('faces').value = page.scale.faces(Number(slider.value));
    slide(true);
  });
  slider.addEventListener('change', () => {
    page.dragging = false;
  });

  const faces = element('faces');
  faces.addEventListener('input', () => {
    page.typing = true;
  });
  faces.addEventListener('change', () => {
    page.typing = false;
    const value = Math.round(Number(faces.value));
    if (faces.value === '' || !(value >= 0) || value > 0xffffffff) {
      say('A face count is a whole number from 0.');
      faces.value = page.frame.head.faces;
      return;
    }
    move({ to: 'faces', value });
  });
  faces.addEventListener('keydown', (event) => {
    if (event.key === 'Enter') faces.blur();
  });

  for (const button of document.querySelectorAll('[data-move]')) {
    button.addEventListener('click', (event) => press(button.dataset.move, event.altKey));
  }

  for (const name of ['show-faces', 'show-points']) element(name).addEventListener('change', applySwitches);
  for (const name of ['show-edges', 'show-marks']) element(name).addEventListener('change', refetch);
  for (const name of ['show-textures', 'smooth']) {
    element(name).addEventListener('change', () => {
      for (const model of [page.model, page.original]) model?.setLook(look());
      applySwitches();
    });
  }
  element('compare').addEventListener('change', () => setComparing(element('compare').checked));
  element('heat').addEventListener('change', updateHeat);
  element('save').addEventListener('click', save);
  element('measure-deviation').addEventListener('click', measureDeviation);
  element('fit').addEventListener('click', fit);
  element('zoom-in').addEventListener('click', () => stage.zoom(0.8));
  element('zoom-out').addEventListener('click', () => stage.zoom(1.25));
  element('up-axis').addEventListener('click', () => setUp(stage.up === 'y' ? 'z' : 'y'));
  dark.addEventListener('change', refetch);
}
