// The page: what is shown, and what the controls do. The model itself is the server's.
import * as THREE from 'three';
import { TGALoader } from 'three/addons/loaders/TGALoader.js';
import { cornerDistances, Frame } from './frame.js';
import { colorsOf, cssGradient, largest } from './heat.js';
import { ModelGroup } from './model_group.js';
import { Moves } from './moves.js';
import { FaceScale } from './scale.js';
import { server } from './server.js';
import { SettingsForm } from './settings_form.js';
import { takeSnapshot } from './snapshot.js';
import { Stage } from './stage.js';

const SLIDER_LENGTH = 1000;
const element = (id) => document.getElementById(id);
const whole = new Intl.NumberFormat('en');
const dark = matchMedia('(prefers-color-scheme: dark)');

const page = {
  state: null,
  frame: null, // the last one shown, faces or points
  model: null,
  original: null,
  scale: new FaceScale(0, 1, SLIDER_LENGTH),
  dragging: false,
  textures: new Map(),
  arriving: 0, // textures on their way
  distances: null,
  // When the last move was sent, its frame received, and its buffers handed to the graphics card, in ms.
  timing: null,
  ready: false,
};
// For tests and measurements.
window.mirel = page;

const stage = new Stage(element('canvas'));
page.stage = stage;
const moves = new Moves(makeMove);
const settings = new SettingsForm(element('settings-form'), rebuild);

// ---- looks ----

function look() {
  const style = getComputedStyle(document.documentElement);
  const color = (name) => new THREE.Color(style.getPropertyValue(name).trim());
  return {
    smooth: element('smooth').checked,
    textures: element('show-textures').checked,
    textureOf,
    ink: dark.matches ? new THREE.Color(0xdde5e2) : new THREE.Color(0x000000),
    marks: { boundary: color('--boundary'), sharp: color('--sharp'), seam: color('--seam') },
  };
}

function textureOf(material) {
  const type = page.state.materials[material]?.texture;
  if (!type) return null;
  const known = page.textures.get(material);
  if (known) return known;
  page.arriving += 1;
  const arrived = () => {
    page.arriving -= 1;
    stage.invalidate();
  };
  const loader = type === 'image/x-tga' ? new TGALoader() : new THREE.TextureLoader();
  const address = `texture/${material}?${page.state.loads}`;
  const texture = loader.load(address, arrived, undefined, arrived);
  texture.colorSpace = THREE.SRGBColorSpace;
  texture.wrapS = THREE.RepeatWrapping;
  texture.wrapT = THREE.RepeatWrapping;
  texture.anisotropy = 8;
  page.textures.set(material, texture);
  return texture;
}

function layers() {
  return { edges: element('show-edges').checked, marks: element('show-marks').checked };
}

function applySwitches() {
  for (const model of [page.model, page.original]) {
    if (!model) continue;
    const pointsOnly = model.frame.head.points_only;
    model.faces.visible = element('show-faces').checked;
    model.edges.visible = element('show-edges').checked;
    model.marks.visible = element('show-marks').checked;
    model.bounds.visible = pointsOnly;
    if (!pointsOnly) model.showCorners(element('show-points').checked);
  }
  element('key').hidden = !element('show-marks').checked;
  stage.invalidate();
}

// ---- frames ----

function showFrame(frame) {
  const { head } = frame;
  page.frame = frame;
  const model = new ModelGroup(frame, look());
  page.model?.dispose();
  page.model = model;
  page.distances = null;
  stage.setModel('reduced', model.group);
  applySwitches();
  showNumbers(head);
  if (element('heat').checked) updateHeat();
}

function showNumbers(head) {
  const { state } = page;
  if (document.activeElement !== element('faces') || !page.typing) element('faces').value = head.faces;
  element('share').value = percent(head.faces, state.faces_before);
  if (!page.dragging) setSlider(page.scale.place(head.faces));
  element('slider').setAttribute('aria-valuetext', counted(head.faces, 'face'));
  element('step').textContent = `${whole.format(head.step)} of ${whole.format(head.steps)}`;
  element('vertices').textContent = head.vertices === null ? '–' : whole.format(head.vertices);
  const bounded = head.deviation !== null && state.settings.error_tolerance !== null;
  element('deviation-line').hidden = !bounded;
  if (bounded) element('deviation').textContent = short(head.deviation);
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

function setSlider(place) {
  element('slider').value = place;
}

function percent(part, all) {
  if (!all) return '–';
  const share = (100 * part) / all;
  if (share > 99 && share < 100) return '> 99 %';
  return `${share >= 10 || share === 0 ? Math.round(share) : share.toPrecision(2)} %`;
}

function counted(number, word) {
  return `${whole.format(number)} ${word}${number === 1 ? '' : 's'}`;
}

// What is degenerate or there twice is not taken into the hierarchy.
function cleaned({ faces_before: before, faces_prepared: prepared }) {
  return prepared && prepared !== before ? ` (${whole.format(prepared)} after clean-up)` : '';
}

function short(number) {
  return Number(number.toPrecision(4)).toString();
}

async function makeMove(message) {
  const sent = performance.now();
  const asked = layers();
  const bytes = await server.move({ ...message, ...asked });
  const received = performance.now();
  showFrame(new Frame(bytes));
  stage.draw();
  const handed = performance.now();
  page.timing = { sent, received, handed, points: message.live === true };
  element('frame-time').textContent = `${Math.round(handed - sent)} ms`;
  say(null);
  // Switched while the move was on its way.
  if (asked.edges !== layers().edges || asked.marks !== layers().marks) refetch();
}

// Whoever calls need not wait: what goes wrong is told on the page.
function move(message) {
  return moves.make(message).catch(complain);
}

// Another frame has been drawn on the server: after the slider has rested, or for another page.
async function frameDrawn({ number }) {
  if (!page.ready || moves.busy || number <= page.frame.head.number || page.dragging) return;
  try {
    const sent = performance.now();
    const bytes = await server.frame(layers());
    if (moves.busy || page.dragging) return;
    const frame = new Frame(bytes);
    if (frame.head.number < page.frame.head.number) return;
    showFrame(frame);
    stage.draw();
    element('frame-time').textContent = `${Math.round(performance.now() - sent)} ms`;
  } catch (error) {
    complain(error);
  }
}

// The last frame again, with other layers or after a rebuild.
async function refetch() {
  try {
    let frame = null;
    // A move may overtake the answer.
    while (!frame || frame.head.number < page.frame.head.number) frame = new Frame(await server.frame(layers()));
    showFrame(frame);
    if (element('compare').checked) await loadOriginal(true);
  } catch (error) {
    complain(error);
  }
}

// ---- original, distances ----

async function loadOriginal(again = false) {
  if (page.original && !again) return;
  const frame = new Frame(await server.original({ edges: element('show-edges').checked }));
  page.original?.dispose();
  page.original = new ModelGroup(frame, look());
  stage.setModel('original', page.original.group);
  // What is coarse may have lost parts that stand farthest out.
  fitTo(frame);
  applySwitches();
}

async function setComparing(on) {
  try {
    if (on) await loadOriginal();
    // It may have been switched again meanwhile.
    if (element('compare').checked !== on) return;
    element('stage').classList.toggle('comparing', on);
    element('label-original').hidden = !on;
    element('label-reduced').hidden = !on;
    stage.setComparing(on);
  } catch (error) {
    element('compare').checked = false;
    complain(error);
  }
}

async function updateHeat() {
  const { model } = page;
  const on = element('heat').checked;
  element('legend').hidden = !on;
  if (!on) {
    model.setHeat(null);
    stage.invalidate();
    return;
  }
  if (model.frame.head.points_only) return;
  try {
    const { distances, diagonal } = cornerDistances(await server.distances());
    // A move may have come between.
    if (page.model !== model || distances.length !== model.frame.cornerCount) return;
    page.distances = distances;
    const top = largest(distances);
    model.setHeat(colorsOf(distances, top));
    element('legend-middle').textContent = short(top / 2);
    element('legend-top').textContent = short(top);
    const share = diagonal > 0 ? `${short((100 * top) / diagonal)} %` : '–';
    element('legend-bar').hidden = top === 0;
    element('legend-numbers').hidden = top === 0;
    element('legend-note').textContent =
      top === 0 ? 'none: every vertex lies on it' : `at most ${share} of the diagonal, at the vertices`;
    stage.invalidate();
  } catch (error) {
    complain(error);
  }
}

// ---- rebuild, save ----

async function rebuild(values) {
  settings.begin(page.state.build_seconds);
  try {
    const state = await server.rebuild(values);
    takeState(state);
    await anotherModel();
    say(null);
  } catch (error) {
    complain(error);
  } finally {
    settings.end();
  }
}

async function save() {
  const button = element('save');
  button.disabled = true;
  try {
    const { blob, name } = await server.download(element('format').value);
    const link = document.createElement('a');
    link.href = URL.createObjectURL(blob);
    link.download = name;
    link.click();
    setTimeout(() => URL.revokeObjectURL(link.href), 60000);
    say(null);
  } catch (error) {
    complain(error);
  } finally {
    button.disabled = false;
  }
}

// ---- words ----

function say(text) {
  element('message').hidden = !text;
  element('message').textContent = text ?? '';
}

function complain(error) {
  say(error.message);
}

// ---- beginning ----

function takeState(state) {
  page.state = state;
  for (const texture of page.textures.values()) texture.dispose();
  page.textures.clear();
  page.scale = new FaceScale(state.fewest_faces ?? 0, state.faces_prepared ?? 1, SLIDER_LENGTH);
  document.title = `${state.name} – Mirel`;
  element('name').textContent = state.name;
  element('summary').textContent = [
    `${counted(state.faces_before, 'face')}${cleaned(state)}`,
    `${whole.format(state.vertices_before ?? 0)} vertices`,
    counted(state.materials.length, 'material'),
  ].join(' · ');
  element('textures-switch').hidden = !state.materials.some((material) => material.texture);
  element('heat-switch').hidden = !state.distances;
  if (state.settings) settings.fill(state.settings);
  element('settings').hidden = !state.settings;
  const formats = state.formats ?? [];
  element('save-section').hidden = formats.length === 0;
  element('format').replaceChildren(...formats.map(({ extension, name }) => new Option(name, extension)));
  element('faces').max = state.faces_prepared;
  element('faces').disabled = false;
  element('slider').disabled = false;
}

// The pictures are fitted to what these frames show.
function fitTo(...frames) {
  const shown = frames.filter((frame) => frame?.head.bounds);
  if (!shown.length) return;
  const ends = [0, 1].map((end) =>
    [0, 1, 2].map((axis) => (end ? Math.max : Math.min)(...shown.map(({ head }) => head.bounds[end][axis]))),
  );
  const outlines = shown.flatMap((frame) =>
    frame.batches(frame.head.points_only ? 'points' : 'faces').map((batch) => frame.positions(batch)),
  );
  stage.setBounds(ends, outlines);
}

function setUp(axis) {
  stage.setUp(axis);
  element('up-axis').textContent = `${axis.toUpperCase()} up`;
  stage.touched = false;
  stage.fit();
}

// A browser opens few connections to one place, and each stream of news takes one: pages that nobody sees do without,
// and look again when they come to the front.
function listen() {
  let source = null;
  const follow = () => {
    if (document.hidden === !source) return;
    source?.close();
    source = document.hidden ? null : server.events({ frame: frameDrawn, rebuilt, build: ({ text }) => settings.phase(text) });
    if (source && page.ready) catchUp();
  };
  document.addEventListener('visibilitychange', follow);
  follow();
}

async function catchUp() {
  try {
    const { loads, head } = await server.state();
    if (loads !== page.state.loads) await rebuilt({ loads });
    else if (head) await frameDrawn(head);
  } catch (error) {
    complain(error);
  }
}

// Another page has built another hierarchy.
async function rebuilt({ loads }) {
  if (!page.ready || settings.busy || loads === page.state.loads) return;
  try {
    takeState(await server.state());
    await anotherModel();
  } catch (error) {
    complain(error);
  }
}

async function anotherModel() {
  page.original?.dispose();
  page.original = null;
  stage.setModel('original', null);
  await refetch();
}

async function begin() {
  const asked = performance.now();
  element('legend-bar').style.background = cssGradient;
  takeState(await server.state());
  listen();
  const frame = new Frame(await server.frame(layers()));
  fitTo(frame);
  setUp(page.state.y_up ? 'y' : 'z');
  showFrame(frame);
  element('smooth-switch').hidden = !page.model.hasNormals;
  stage.draw();
  element('frame-time').textContent = `${Math.round(performance.now() - asked)} ms`;
  page.ready = true;
  document.body.dataset.ready = 'true';
}

// ---- controls ----

function bindControls() {
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
  element('fit').addEventListener('click', fit);
  element('zoom-in').addEventListener('click', () => stage.zoom(0.8));
  element('zoom-out').addEventListener('click', () => stage.zoom(1.25));
  element('up-axis').addEventListener('click', () => setUp(stage.up === 'y' ? 'z' : 'y'));
  dark.addEventListener('change', refetch);
  document.addEventListener('keydown', shortcut);
  element('canvas').addEventListener('keydown', turnByKey);
}

function fit() {
  // What is coarse may reach out of what was fitted at first, and the other way round.
  fitTo(page.frame, page.original?.frame);
  stage.touched = false;
  stage.fit({ keepDirection: true });
}

function press(target, oneStep) {
  move(oneStep ? { to: target, value: 1 } : { to: target });
}

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

bindControls();
const wanted = new URLSearchParams(location.search);
if (wanted.has('snapshot')) {
  document.body.classList.add('snapshot');
  begin()
    .then(() => takeSnapshot(wanted, { page, stage, element, refetch, setComparing, updateHeat, applySwitches }))
    .catch((error) => server.failure(error.message));
} else {
  begin().catch(complain);
}
