// How long a move takes in the page of `mirel view`, from the message sent to the buffers handed to the graphics card:
//
//   npm ci --prefix tests/browser && node benchmarks/viewer/latency.mjs [CELLS] [REPEATS]
//
// A wavy square of 2 x CELLS² faces (708: 1,002,528) is moved to 10 % of its faces and, before each repeat, to 5 %, so
// that no move finds anything read already. In real Chromium, drawing in software. Prints JSON: milliseconds, and the
// part of it until the answer has been received. MIREL_BUILD names another build folder than build/.
import { loadavg } from 'node:os';
import { launch, open, terrain, until, Viewer } from '../../tests/browser/support/viewer.mjs';

const cells = Number(process.argv[2] ?? 708);
const repeats = Number(process.argv[3] ?? 9);
const target = Math.floor((2 * cells * cells) / 10);

const loadBefore = loadavg()[0];
const browser = await launch();
const viewer = await Viewer.start(terrain(cells), '--faces', String(target));
const page = await open(browser, viewer);

async function timed(live, faces) {
  return page.evaluate(async ([count, points]) => {
    const before = window.mirel.timing;
    const slider = document.getElementById('slider');
    const box = document.getElementById('faces');
    if (points) {
      slider.value = window.mirel.scale.place(count);
      slider.dispatchEvent(new Event('input'));
    } else {
      box.value = count;
      box.dispatchEvent(new Event('change'));
    }
    while (window.mirel.timing === before) await new Promise((again) => setTimeout(again, 1));
    const { sent, received, handed } = window.mirel.timing;
    const { head } = window.mirel.frame;
    return { faces: head.faces, points: head.points_only, bytes: window.mirel.frame.bytes.byteLength, received: received - sent, total: handed - sent };
  }, [faces, live]);
}

async function rest() {
  await until(page, () => !window.mirel.frame.head.points_only);
  // What the last picture left to do is not this move's.
  await page.evaluate(() => {
    const gl = window.mirel.stage.renderer.getContext();
    gl.readPixels(0, 0, 1, 1, gl.RGBA, gl.UNSIGNED_BYTE, new Uint8Array(4));
    return new Promise((later) => setTimeout(later, 400));
  });
}

function summary(samples) {
  const of = (name) => {
    const values = samples.map((sample) => sample[name]).sort((a, b) => a - b);
    return [values[0], values[Math.floor(values.length / 2)], values[values.length - 1]].map((value) => Math.round(value * 10) / 10);
  };
  const { faces, bytes } = samples[samples.length - 1];
  return { faces, bytes, received_ms_min_median_max: of('received'), total_ms_min_median_max: of('total') };
}

async function measure(live) {
  const samples = [];
  for (let repeat = 0; repeat < repeats; repeat += 1) {
    await timed(false, Math.floor(target / 2) + repeat);
    await rest();
    const sample = await timed(live, target + repeat);
    if (sample.points !== live) throw new Error('drawn otherwise than asked for');
    samples.push(sample);
    await rest();
  }
  return summary(samples);
}

const result = { faces: await page.evaluate(() => window.mirel.state.faces_before), target, repeats };
result.faces_drawn = await measure(false);
result.points_only = await measure(true);
await page.locator('#show-edges').setChecked(true);
await rest();
result.faces_and_edges_drawn = await measure(false);
result.load_average = [loadBefore, loadavg()[0]].map((value) => Math.round(value * 10) / 10);
console.log(JSON.stringify(result, null, 2));
await browser.close();
await viewer.stop();
