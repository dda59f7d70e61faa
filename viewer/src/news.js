// What the server tells by itself: frames and hierarchies of other pages, phases of a build.
import { frameDrawn } from './frames.js';
import { complain } from './message.js';
import { page } from './page.js';
import { buildPhase, rebuilt } from './rebuilding.js';
import { server } from './server.js';

// A browser opens few connections to one place, and each stream of news takes one: pages that nobody sees do without,
// and look again when they come to the front.
export function listen() {
  let source = null;
  const follow = () => {
    if (document.hidden === !source) return;
    source?.close();
    source = document.hidden ? null : server.events({ frame: frameDrawn, rebuilt, build: ({ text }) => buildPhase(text) });
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
