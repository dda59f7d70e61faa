// Frames from the server: asked for by moves, drawn for another page, or fetched again.
import { updateHeat } from './distance_map.js';
import { Frame } from './frame.js';
import { applySwitches, layers, look } from './looks.js';
import { complain, say } from './message.js';
import { ModelGroup } from './model_group.js';
import { Moves } from './moves.js';
import { loadOriginal } from './original.js';
import { element, page, stage } from './page.js';
import { showNumbers } from './panel.js';
import { server } from './server.js';

const moves = new Moves(makeMove);

export function showFrame(frame) {
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
export function move(message) {
  return moves.make(message).catch(complain);
}

export function press(target, oneStep) {
  move(oneStep ? { to: target, value: 1 } : { to: target });
}

// Another frame has been drawn on the server: after the slider has rested, or for another page.
export async function frameDrawn({ number }) {
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
export async function refetch() {
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
