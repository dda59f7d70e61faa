// The keys of the page and of the picture.
import { fit } from './fitting.js';
import { press } from './frames.js';
import { applySwitches } from './looks.js';
import { element, stage } from './page.js';

function toggle(id) {
  const box = element(id);
  if (box.closest('[hidden]') || box.disabled) return;
  box.checked = !box.checked;
  box.dispatchEvent(new Event('change'));
}

function showEdgesAlone() {
  const alone = element('show-faces').checked || !element('show-edges').checked;
  element('show-faces').checked = !alone;
  if (element('show-edges').checked !== alone) toggle('show-edges');
  applySwitches();
}

function shortcut(event) {
  // Brackets are typed with AltGr on many keyboards, which some systems tell as Ctrl and Alt.
  const typed = event.getModifierState('AltGraph');
  if (!typed && (event.ctrlKey || event.metaKey)) return;
  const oneStep = event.altKey && !typed;
  if (event.target.matches('input:not([type=checkbox]):not([type=range]), select, textarea')) return;
  const actions = {
    '[': () => press('coarser', oneStep),
    ']': () => press('finer', oneStep),
    '{': () => press('lowest'),
    '}': () => press('highest'),
    f: fit,
    e: () => toggle('show-edges'),
    p: () => toggle('show-points'),
    w: showEdgesAlone,
    t: () => toggle('show-textures'),
    m: () => toggle('show-marks'),
    c: () => toggle('compare'),
    h: () => toggle('heat'),
  };
  const action = actions[event.key.length === 1 ? event.key.toLowerCase() : event.key];
  if (!action) return;
  event.preventDefault();
  action();
}

function turnByKey(event) {
  const actions = {
    ArrowLeft: () => stage.turn(0.12, 0),
    ArrowRight: () => stage.turn(-0.12, 0),
    ArrowUp: () => stage.turn(0, 0.12),
    ArrowDown: () => stage.turn(0, -0.12),
    '+': () => stage.zoom(0.85),
    '=': () => stage.zoom(0.85),
    '-': () => stage.zoom(1.18),
  };
  if (!actions[event.key]) return;
  event.preventDefault();
  actions[event.key]();
}

export function bindKeys() {
  document.addEventListener('keydown', shortcut);
  element('canvas').addEventListener('keydown', turnByKey);
}
