// The page in narrow windows, dark, on other models, and when its server goes.
import assert from 'node:assert/strict';
import { existsSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';
import { after, before, test } from 'node:test';
import {
  covered, difference, folder, head, keep, launch, lighthouse, open, picture, shared, terrain, twoBalls, until, Viewer,
} from './support/viewer.mjs';

let browser;

before(async () => {
  browser = await launch();
});

after(() => browser?.close());

async function withViewer(model, work, options, ...words) {
  const viewer = await Viewer.start(model, ...words);
  try {
    const page = await open(browser, viewer, options);
    await work(page, viewer);
    await page.context().close();
  } finally {
    await viewer.stop('SIGTERM');
  }
}

test('a narrow window has everything, and nothing sticks out', async () => {
  await withViewer(lighthouse, async (page) => {
    const { overflow, panel } = await page.evaluate(() => ({
      overflow: document.documentElement.scrollWidth - innerWidth,
      panel: document.getElementById('panel').getBoundingClientRect().width,
    }));
    assert.ok(overflow <= 0, `${overflow} pixels too wide`);
    assert.equal(panel, 390);
    assert.ok(covered(await picture(page)) > 0.1);
    await page.locator('#compare').scrollIntoViewIfNeeded();
    await page.locator('#compare').setChecked(true);
    await until(page, () => window.mirel.original !== null);
    await keep(page, 'narrow-compare');
    await page.evaluate(() => document.getElementById('panel').scrollTo(0, 0));
    await page.locator('#compare').setChecked(false);
    await page.evaluate(() => document.getElementById('panel').scrollTo(0, 0));
    await keep(page, 'narrow');
  }, { viewport: { width: 390, height: 780 }, hasTouch: true, isMobile: true }, '--faces', '20000');
});

test('it is dark where the system is', async () => {
  await withViewer(lighthouse, async (page) => {
    const brightness = await page.evaluate(() => {
      const [red, green, blue] = getComputedStyle(document.getElementById('panel')).backgroundColor.match(/\d+/g).map(Number);
      return red + green + blue;
    });
    assert.ok(brightness < 150, `${brightness}`);
    await page.locator('#show-edges').setChecked(true);
    await until(page, () => window.mirel.model.edges.children.length > 0);
    await keep(page, 'dark');
    await page.locator('#show-faces').setChecked(false);
    await page.locator('#settings summary').click();
    await keep(page, 'dark-edges-alone');
    await page.emulateMedia({ colorScheme: 'light' });
    await until(page, () => getComputedStyle(document.body).color === 'rgb(28, 35, 33)');
  }, { colorScheme: 'dark' }, '--faces', '6000');
});

test('a plain model of 125,000 faces', async () => {
  await withViewer(terrain(250), async (page) => {
    assert.equal((await head(page)).faces, 125000);
    assert.equal(await page.isVisible('#textures-switch'), false);
    assert.equal(await page.isVisible('#smooth-switch'), false);
    await page.fill('#faces', '3000');
    await page.press('#faces', 'Enter');
    await until(page, () => window.mirel.frame.head.faces <= 3000);
    await page.locator('#show-marks').setChecked(true);
    await until(page, () => window.mirel.model.marks.children.length === 3);
    await keep(page, 'terrain');
  });
});

test('nothing lies over anything else, however small the picture is', async () => {
  await withViewer(lighthouse, async (page) => {
    await page.locator('#show-marks').setChecked(true);
    await page.locator('#compare').setChecked(true);
    await until(page, () => window.mirel.original !== null);
    for (const [width, height] of [[1280, 800], [800, 400], [730, 700], [390, 780], [320, 640]]) {
      await page.setViewportSize({ width, height });
      await page.waitForTimeout(100);
      const crossing = await page.evaluate(() => {
        const ids = ['status', 'key', 'camera-buttons', 'label-original', 'label-reduced'];
        const boxes = ids.map((id) => document.getElementById(id).getBoundingClientRect());
        const stage = document.getElementById('stage').getBoundingClientRect();
        const out = ids.filter((_, i) => boxes[i].left < stage.left || boxes[i].right > stage.right || boxes[i].bottom > stage.bottom);
        for (let i = 0; i < ids.length; i += 1) {
          for (let j = 0; j < i; j += 1) {
            const [a, b] = [boxes[i], boxes[j]];
            if (a.left < b.right && b.left < a.right && a.top < b.bottom && b.top < a.bottom) out.push(`${ids[i]} over ${ids[j]}`);
          }
        }
        return out;
      });
      assert.deepEqual(crossing, [], `${width} x ${height}`);
      await keep(page, `window-${width}x${height}`);
    }
  }, {}, '--faces', '20000');
});

test('a mirrored instance is lit like the one that it mirrors', async () => {
  await withViewer(twoBalls(), async (page) => {
    const [left, right] = await page.evaluate(() => {
      const { stage } = window.mirel;
      stage.up = 'y';
      // From the front, so that both stand side by side.
      stage.camera.position.copy(stage.controls.target).z += 12;
      stage.controls.update();
      stage.draw();
      const paper = document.createElement('canvas').getContext('2d', { willReadFrequently: true });
      [paper.canvas.width, paper.canvas.height] = [160, 100];
      paper.drawImage(stage.canvas, 0, 0, 160, 100);
      const mean = (x) => {
        const { data } = paper.getImageData(x, 0, 80, 100);
        let [sum, count] = [0, 0];
        for (let i = 0; i < data.length; i += 4) {
          if (data[i + 3] < 255) continue;
          sum += data[i];
          count += 1;
        }
        return sum / count;
      };
      return [mean(0), mean(80)];
    });
    assert.ok(left > 60, `${left}`);
    assert.ok(Math.abs(left - right) < 12, `${left}, ${right}`);
    await keep(page, 'mirrored');
  });
});

test('fitting shows what is on the page, not what was there at first', async () => {
  await withViewer(lighthouse, async (page) => {
    await page.click('[data-move=lowest]');
    await until(page, () => window.mirel.frame.head.step === window.mirel.frame.head.steps);
    await page.click('#fit');
    const { fitted, shown } = await page.evaluate(() => ({
      fitted: [window.mirel.stage.bounds.min.toArray(), window.mirel.stage.bounds.max.toArray()],
      shown: window.mirel.frame.head.bounds,
    }));
    assert.deepEqual(fitted, shown);
  }, {}, '--faces', '60000');
});

test('a distance map without distances says so, one face is one face', async () => {
  const file = join(folder, 'one tri\u00e4ngle.obj');
  writeFileSync(file, 'v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n');
  await withViewer(file, async (page) => {
    await page.locator('#heat').setChecked(true);
    await page.locator('#compare').setChecked(true);
    await until(page, () => window.mirel.distances !== null && window.mirel.original !== null);
    assert.equal(await page.textContent('#legend-note'), 'none: every vertex lies on it');
    assert.equal(await page.isVisible('#legend-numbers'), false);
    assert.equal(await page.textContent('#label-reduced'), '1 face · 100 %');
    assert.match(await page.textContent('#summary'), /^1 face · 3 vertices · /);
    await keep(page, 'one-triangle');
  });
});

const duck = '/usr/share/assimp/models/Collada/duck.dae';
test('a texture in TGA is shown', { skip: existsSync(duck) ? false : 'duck.dae is not here' }, async () => {
  await withViewer(duck, async (page) => {
    assert.equal(await page.evaluate(() => window.mirel.state.materials[0].texture), 'image/x-tga');
    const [textured, plain] = [await picture(page), (await page.locator('#show-textures').setChecked(false), await picture(page))];
    assert.ok(difference(textured, plain) > 0.1);
    await page.locator('#show-textures').setChecked(true);
    await keep(page, 'model-duck');
    assert.deepEqual(page.complaints, []);
  });
});

for (const name of ['spot.obj', 'stanford-bunny.obj', 'fandisk.obj', 'horse.ply']) {
  const file = join(shared, name);
  test(`${name} is shown whole and reduced`, { skip: existsSync(file) ? false : `${name} is not here` }, async () => {
    await withViewer(file, async (page) => {
      const whole = await picture(page);
      assert.ok(covered(whole) > 0.1, `${covered(whole)}`);
      await keep(page, `model-${name}`);
      await page.locator('#compare').setChecked(true);
      await page.locator('#show-edges').setChecked(true);
      await page.fill('#faces', '1000');
      await page.press('#faces', 'Enter');
      await until(page, () => window.mirel.frame.head.faces <= 1000 && window.mirel.original !== null);
      await keep(page, `model-${name}-reduced`);
      assert.deepEqual(page.complaints, []);
    });
  });
}

test('a page whose server has gone says so', async () => {
  const viewer = await Viewer.start(terrain(10));
  const page = await open(browser, viewer);
  assert.deepEqual(await viewer.stop(), { status: 0, signal: null });
  await page.click('[data-move=lowest]');
  await until(page, () => !document.getElementById('message').hidden);
  assert.match(await page.textContent('#message'), /has ended/);
  await keep(page, 'server-gone');
  await page.context().close();
});
