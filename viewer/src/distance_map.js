// The colours of the distance from the original, and their legend.
import { cornerDistances } from './frame.js';
import { colorsOf, cssGradient, largest } from './heat.js';
import { complain } from './message.js';
import { element, page, stage } from './page.js';
import { server } from './server.js';
import { short } from './words.js';

element('legend-bar').style.background = cssGradient;

export async function updateHeat() {
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
