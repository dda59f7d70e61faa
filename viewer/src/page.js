// What the page shows at present, and its elements.
import { FaceScale } from './scale.js';
import { Stage } from './stage.js';

export const SLIDER_LENGTH = 1000;
export const element = (id) => document.getElementById(id);
export const dark = matchMedia('(prefers-color-scheme: dark)');
export const stage = new Stage(element('canvas'));

export const page = {
  stage,
  state: null, // the server's words about the model and its hierarchy
  frame: null, // the last one shown, faces or points
  model: null,
  original: null,
  scale: new FaceScale(0, 1, SLIDER_LENGTH),
  dragging: false, // the slider
  rest: null, // the timer that ends it for keys
  typing: false, // a count of faces
  textures: new Map(),
  arriving: 0, // textures on their way
  measuring: false, // the deviation
  distances: null,
  // When the last move was sent, its frame received, and its buffers handed to the graphics card, in ms.
  timing: null,
  ready: false,
};
// For tests and measurements.
window.mirel = page;
