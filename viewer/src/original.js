// The model as it came, beside the present one.
import { fitTo } from './fitting.js';
import { Frame } from './frame.js';
import { applySwitches, look } from './looks.js';
import { complain } from './message.js';
import { ModelGroup } from './model_group.js';
import { element, page, stage } from './page.js';
import { server } from './server.js';

export async function loadOriginal(again = false) {
  if (page.original && !again) return;
  const frame = new Frame(await server.original({ edges: element('show-edges').checked }));
  page.original?.dispose();
  page.original = new ModelGroup(frame, look());
  stage.setModel('original', page.original.group);
  // What is coarse may have lost parts that stand farthest out.
  fitTo(frame);
  applySwitches();
}

export async function setComparing(on) {
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

export function forgetOriginal() {
  page.original?.dispose();
  page.original = null;
  stage.setModel('original', null);
}
