// The one line for what went wrong.
import { element } from './page.js';

export function say(text) {
  element('message').hidden = !text;
  element('message').textContent = text ?? '';
}

export function complain(error) {
  say(error.message);
}
