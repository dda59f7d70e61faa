// The page of `mirel view`: what it begins with. The model itself is the server's.
import { bindControls } from './controls.js';
import { fitTo, setUp } from './fitting.js';
import { Frame } from './frame.js';
import { showFrame } from './frames.js';
import { bindKeys } from './keys.js';
import { layers } from './looks.js';
import { complain } from './message.js';
import { listen } from './news.js';
import { element, page, stage } from './page.js';
import { takeState } from './rebuilding.js';
import { server } from './server.js';
import { takeSnapshot } from './snapshot.js';

async function begin() {
  const asked = performance.now();
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

bindControls();
bindKeys();
const wanted = new URLSearchParams(location.search);
if (wanted.has('snapshot')) {
  document.body.classList.add('snapshot');
  begin()
    .then(() => takeSnapshot(wanted))
    .catch((error) => server.failure(error.message));
} else {
  begin().catch(complain);
}
