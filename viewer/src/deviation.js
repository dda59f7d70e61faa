// How far the present mesh may be from the original: known with a tolerance, else measured at a button.
import { complain, say } from './message.js';
import { element, page } from './page.js';
import { server } from './server.js';
import { shortBound } from './words.js';

export function showDeviation() {
  const { deviation } = page.frame.head;
  element('deviation').textContent = deviation === null ? '' : shortBound(deviation);
  const button = element('measure-deviation');
  button.hidden = deviation !== null;
  button.disabled = page.measuring;
  button.textContent = page.measuring ? 'Measuring …' : 'Measure';
}

// The step may be another by the time that the answer is there.
export async function measureDeviation() {
  page.measuring = true;
  showDeviation();
  try {
    const { step, loads, deviation } = await server.deviation();
    if (page.frame.head.step === step && page.state.loads === loads) page.frame.head.deviation = deviation;
    if (deviation === null) say('How far this mesh is from the original cannot be told.');
  } catch (error) {
    complain(error);
  } finally {
    page.measuring = false;
    showDeviation();
  }
}
