// A viewer of a model and a page of it in Chromium, for the tests of this folder.
import { spawn } from 'node:child_process';
import { existsSync, mkdirSync, mkdtempSync, rmSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { dirname, join, resolve } from 'node:path';
import { fileURLToPath } from 'node:url';
import { chromium } from 'playwright-core';

export const root = resolve(dirname(fileURLToPath(import.meta.url)), '../../..');
export const build = process.env.MIREL_BUILD ?? join(root, 'build');
export const shared = join(process.env.MIREL_SHARED ?? resolve(root, '../shared'), 'models');
export const lighthouse = join(root, 'examples/lighthouse/lighthouse.obj');
const artefacts = process.env.MIREL_ARTEFACTS ?? join(build, 'artefacts', 'browser');
const program = join(root, 'standalone/mirel/bin/mirel');
const commands = ['chromium', 'chromium-browser', 'google-chrome', 'google-chrome-stable'];
const software = ['--use-gl=angle', '--use-angle=swiftshader', '--enable-unsafe-swiftshader', '--ignore-gpu-blocklist'];

mkdirSync(artefacts, { recursive: true });
export const folder = mkdtempSync(join(tmpdir(), 'mirel-browser-'));
process.on('exit', () => rmSync(folder, { recursive: true, force: true }));

export function chromiumPath() {
  const folders = (process.env.PATH ?? '').split(':');
  const found = commands.flatMap((name) => folders.map((place) => join(place, name))).find(existsSync);
  if (!found) throw new Error('no Chromium: run scripts/setup --snapshot');
  return found;
}

export function mirel(...words) {
  const child = spawn('ruby', [program, ...words], { env: { ...process.env, MIREL_BUILD: build } });
  const result = { child, out: '', err: '' };
  child.stdout.on('data', (text) => {
    result.out += text;
  });
  child.stderr.on('data', (text) => {
    result.err += text;
  });
  result.ended = new Promise((done) => {
    child.on('close', (status, signal) => done({ status, signal }));
  });
  return result;
}

export class Viewer {
  static async start(model, ...options) {
    const run = mirel('view', model, '--no-open', ...options);
    for (;;) {
      const line = /^http:\S+$/m.exec(run.out);
      if (line) return new Viewer(run, line[0]);
      if (run.child.exitCode !== null) throw new Error(`mirel view ended: ${run.err}`);
      await new Promise((again) => setTimeout(again, 20));
    }
  }

  constructor(run, address) {
    this.run = run;
    this.address = address;
  }

  async stop(signal = 'SIGINT') {
    this.run.child.kill(signal);
    return this.run.ended;
  }
}

export function launch() {
  const args = [...software, ...(process.getuid?.() === 0 ? ['--no-sandbox'] : [])];
  return chromium.launch({ executablePath: chromiumPath(), args });
}

// Opens the page and waits for its first picture. What it logs as an error is kept in page.complaints, whatever it
// asks for in page.asked.
export async function open(browser, viewer, options = {}) {
  const context = await browser.newContext({ viewport: { width: 1280, height: 800 }, acceptDownloads: true, ...options });
  const page = await context.newPage();
  page.complaints = [];
  page.asked = [];
  page.on('console', (message) => message.type() === 'error' && page.complaints.push(message.text()));
  page.on('pageerror', (error) => page.complaints.push(error.message));
  page.on('request', (request) => page.asked.push(request.url()));
  await page.goto(viewer.address);
  await ready(page);
  return page;
}

export async function ready(page) {
  await page.waitForSelector('body[data-ready]', { timeout: 60000 });
  await page.waitForFunction(() => window.mirel.arriving === 0);
}

export const head = (page) => page.evaluate(() => window.mirel.frame.head);

export async function until(page, condition, argument) {
  await page.waitForFunction(condition, argument, { timeout: 60000 });
}

// The picture, small: r, g, b, a of 160 x 100 points.
export async function picture(page) {
  return page.evaluate(() => {
    const { stage } = window.mirel;
    const small = document.createElement('canvas');
    small.width = 160;
    small.height = 100;
    const paper = small.getContext('2d', { willReadFrequently: true });
    stage.draw();
    paper.drawImage(stage.canvas, 0, 0, 160, 100);
    return Array.from(paper.getImageData(0, 0, 160, 100).data);
  });
}

// The share of the points that differ visibly; from, to: columns.
export function difference(a, b, { from = 0, to = 160, fromB = from } = {}) {
  let differing = 0;
  for (let y = 0; y < 100; y += 1) {
    for (let x = from; x < to; x += 1) {
      const i = (y * 160 + x) * 4;
      const j = (y * 160 + x - from + fromB) * 4;
      const most = Math.max(...[0, 1, 2, 3].map((c) => Math.abs(a[i + c] - b[j + c])));
      if (most > 12) differing += 1;
    }
  }
  return differing / (100 * (to - from));
}

// The share of the points that the model covers.
export function covered(a) {
  let count = 0;
  for (let i = 3; i < a.length; i += 4) if (a[i] > 128) count += 1;
  return count / (a.length / 4);
}

export async function keep(page, name) {
  await page.screenshot({ path: join(artefacts, `${name}.png`) });
}

// A wavy square of 2 n² triangles, as a file.
export function terrain(n) {
  const lines = [];
  for (let i = 0; i <= n; i += 1) {
    for (let j = 0; j <= n; j += 1) {
      const height = Math.sin((12 * i) / n) + Math.cos((9 * j) / n) + 0.3 * Math.sin((50 * i * j) / (n * n));
      lines.push(`v ${((10 * i) / n).toFixed(5)} ${height.toFixed(5)} ${((10 * j) / n).toFixed(5)}`);
    }
  }
  for (let i = 0; i < n; i += 1) {
    for (let j = 0; j < n; j += 1) {
      const a = i * (n + 1) + j + 1;
      lines.push(`f ${a} ${a + 1} ${a + n + 2}`, `f ${a} ${a + n + 2} ${a + n + 1}`);
    }
  }
  const file = join(folder, `terrain-${n}.obj`);
  writeFileSync(file, `${lines.join('\n')}\n`);
  return file;
}

// Two instances of a ball with normals side by side, as a file: the one on the right is mirrored.
export function twoBalls() {
  const [rows, columns] = [24, 48];
  const points = [];
  const corners = [];
  for (let i = 0; i <= rows; i += 1) {
    for (let j = 0; j <= columns; j += 1) {
      const [across, around] = [(Math.PI * i) / rows, (2 * Math.PI * j) / columns];
      points.push(Math.sin(across) * Math.cos(around), Math.cos(across), -Math.sin(across) * Math.sin(around));
    }
  }
  for (let i = 0; i < rows; i += 1) {
    for (let j = 0; j < columns; j += 1) {
      const a = i * (columns + 1) + j;
      const b = a + columns + 1;
      corners.push(a, b, b + 1, a, b + 1, a + 1);
    }
  }
  const data = [Buffer.from(Float32Array.from(points).buffer), Buffer.from(Uint32Array.from(corners).buffer)];
  const scene = {
    asset: { version: '2.0' },
    scene: 0,
    scenes: [{ nodes: [0, 1] }],
    nodes: [{ mesh: 0, translation: [-1.5, 0, 0] }, { mesh: 0, translation: [1.5, 0, 0], scale: [-1, 1, 1] }],
    meshes: [{ primitives: [{ attributes: { POSITION: 0, NORMAL: 0 }, indices: 1 }] }],
    accessors: [
      { bufferView: 0, componentType: 5126, count: points.length / 3, type: 'VEC3', min: [-1, -1, -1], max: [1, 1, 1] },
      { bufferView: 1, componentType: 5125, count: corners.length, type: 'SCALAR' },
    ],
    bufferViews: [
      { buffer: 0, byteOffset: 0, byteLength: data[0].length },
      { buffer: 0, byteOffset: data[0].length, byteLength: data[1].length },
    ],
    buffers: [{
      byteLength: data[0].length + data[1].length,
      uri: `data:application/octet-stream;base64,${Buffer.concat(data).toString('base64')}`,
    }],
  };
  const file = join(folder, 'balls.gltf');
  writeFileSync(file, JSON.stringify(scene));
  return file;
}
