// The page of `mirel view` in Chromium, on the sample model: what a user does, and what is to be seen then.
import assert from 'node:assert/strict';
import { readFileSync } from 'node:fs';
import { after, before, beforeEach, test } from 'node:test';
import { covered, difference, head, keep, launch, lighthouse, open, picture, ready, until, Viewer } from './support/viewer.mjs';

let browser;
let viewer;
let page;

before(async () => {
  browser = await launch();
  viewer = await Viewer.start(lighthouse);
  page = await open(browser, viewer);
});

after(async () => {
  await browser?.close();
  const end = await viewer?.stop();
  assert.deepEqual(end, { status: 0, signal: null }, 'Ctrl-C is the way to end the viewer');
});

// Every test begins with the whole model, alone, in faces.
beforeEach(async () => {
  for (const id of ['compare', 'heat', 'show-marks', 'show-edges', 'show-points']) await page.locator(`#${id}`).setChecked(false);
  await page.locator('#show-faces').setChecked(true);
  await page.locator('#show-textures').setChecked(true);
  await page.evaluate(() => {
    window.mirel.stage.touched = false;
    window.mirel.stage.fit();
  });
  if ((await head(page)).step !== 0) await page.click('[data-move=highest]');
  await until(page, () => window.mirel.frame.head.step === 0 && !window.mirel.frame.head.points_only);
});

async function setCount(count) {
  await page.fill('#faces', String(count));
  await page.press('#faces', 'Enter');
  await until(page, (most) => window.mirel.frame.head.faces <= most, count);
}

test('it shows the model, its counts and nothing from elsewhere', async () => {
  assert.equal(await page.title(), 'lighthouse.obj – Mirel');
  assert.equal(await page.textContent('#name'), 'lighthouse.obj');
  assert.match(await page.textContent('#summary'), /82,652 faces · .* vertices · 10 materials/);
  assert.equal(await page.inputValue('#faces'), '82652');
  assert.match(await page.textContent('#step'), /^0 of /);
  const share = covered(await picture(page));
  assert.ok(share > 0.1 && share < 0.9, `the model covers ${share} of the picture`);
  const own = new URL(viewer.address).origin;
  for (const address of page.asked) assert.ok(address.startsWith(own) || address.startsWith('blob:'), address);
  assert.deepEqual(page.complaints, []);
  await keep(page, 'load');
});

test('dragging the slider shows points, and faces when it rests', async () => {
  const original = await picture(page);
  await page.evaluate(() => {
    window.seen = [];
    const note = () => {
      window.seen.push([window.mirel.frame.head.points_only, window.mirel.frame.head.faces]);
      window.noting = requestAnimationFrame(note);
    };
    note();
  });
  const box = await page.locator('#slider').boundingBox();
  const y = box.y + box.height / 2;
  await page.mouse.move(box.x + box.width - 8, y);
  await page.mouse.down();
  for (let step = 1; step <= 12; step += 1) await page.mouse.move(box.x + box.width * (1 - 0.045 * step), y);
  await until(page, () => window.mirel.frame.head.points_only);
  await keep(page, 'slider-points');
  await page.mouse.up();
  await until(page, () => !window.mirel.frame.head.points_only);
  await page.evaluate(() => cancelAnimationFrame(window.noting));
  const seen = await page.evaluate(() => window.seen);
  assert.ok(seen.some(([points]) => points), 'points while it moves');
  const { faces } = await head(page);
  assert.ok(faces < 20000 && faces > 100, `${faces} faces`);
  assert.equal(await page.inputValue('#faces'), String(faces));
  assert.match(await page.getAttribute('#slider', 'aria-valuetext'), /^[\d,]+ faces$/);
  const timing = await page.evaluate(() => window.mirel.timing);
  assert.ok(timing.points && timing.handed >= timing.received && timing.received >= timing.sent);
  assert.ok(difference(original, await picture(page)) > 0.001, 'the picture has changed');
  await keep(page, 'slider-rested');
});

test('the deviation is measured at a button', async () => {
  await setCount(3000);
  assert.equal((await head(page)).deviation, null);
  assert.equal(await page.isVisible('#measure-deviation'), true);
  await keep(page, 'deviation-unknown');
  await page.click('#measure-deviation');
  await until(page, () => window.mirel.frame.head.deviation !== null);
  const measured = (await head(page)).deviation;
  assert.ok(measured > 0 && measured < 5, `${measured}`);
  assert.equal(await page.isVisible('#measure-deviation'), false);
  assert.ok(Number(await page.textContent('#deviation')) >= measured);
  await keep(page, 'deviation-measured');
  await page.click('[data-move=finer]');
  await until(page, () => window.mirel.frame.head.deviation === null);
  assert.equal(await page.isVisible('#measure-deviation'), true);
  await setCount(3000);
  assert.equal((await head(page)).deviation, measured);
});

test('the slider works from the keyboard and reaches both ends', async () => {
  await page.focus('#slider');
  await page.keyboard.press('Home');
  await until(page, () => window.mirel.frame.head.step === window.mirel.frame.head.steps);
  await until(page, () => !window.mirel.frame.head.points_only);
  assert.equal(await page.isVisible('#stopped'), true);
  await keep(page, 'fewest');
  await page.keyboard.press('End');
  await until(page, () => window.mirel.frame.head.step === 0 && !window.mirel.frame.head.points_only);
  assert.equal((await head(page)).faces, 82652);
  assert.equal(await page.isVisible('#stopped'), false);
});

test('a face count can be set', async () => {
  const original = await picture(page);
  await setCount(1500);
  assert.ok((await head(page)).faces > 1400);
  assert.equal(await page.textContent('#share'), '1.8 %');
  assert.ok(difference(original, await picture(page)) > 0.005);
  await keep(page, 'count-1500');
});

test('what is no face count is refused', async () => {
  await page.fill('#faces', '-5');
  await page.press('#faces', 'Enter');
  assert.match(await page.textContent('#message'), /whole number/);
  assert.equal(await page.inputValue('#faces'), '82652');
  await keep(page, 'count-refused');
  await setCount(80000);
  assert.equal(await page.isVisible('#message'), false);
});

test('the buttons move along the hierarchy, by one step with Alt', async () => {
  await page.click('[data-move=coarser]');
  await until(page, () => window.mirel.frame.head.step > 0);
  const { step, steps } = await head(page);
  assert.equal(step, Math.round(steps * 0.08));
  await page.click('[data-move=coarser]', { modifiers: ['Alt'] });
  await until(page, (next) => window.mirel.frame.head.step === next, step + 1);
  await page.click('[data-move=finer]', { modifiers: ['Alt'] });
  await until(page, (next) => window.mirel.frame.head.step === next, step);
  await page.click('[data-move=lowest]');
  await until(page, (last) => window.mirel.frame.head.step === last, steps);
  assert.equal(await page.isDisabled('[data-move=coarser]'), true);
  assert.equal(await page.isDisabled('[data-move=finer]'), false);
  await page.click('[data-move=highest]');
  await until(page, () => window.mirel.frame.head.step === 0);
  assert.equal(await page.isDisabled('[data-move=finer]'), true);
});

test('keys do what the keys list says', async () => {
  await page.focus('#canvas');
  await page.keyboard.press('[');
  await until(page, () => window.mirel.frame.head.step > 0);
  await page.keyboard.press(']');
  await until(page, () => window.mirel.frame.head.step < 3000);
  await page.keyboard.press('{');
  await until(page, () => window.mirel.frame.head.step === window.mirel.frame.head.steps);
  await page.keyboard.press('}');
  await until(page, () => window.mirel.frame.head.step === 0);
  for (const [key, id] of [['e', 'show-edges'], ['p', 'show-points'], ['m', 'show-marks'], ['c', 'compare'], ['h', 'heat']]) {
    await page.keyboard.press(key);
    assert.equal(await page.isChecked(`#${id}`), true, key);
    await page.keyboard.press(key);
    assert.equal(await page.isChecked(`#${id}`), false, key);
  }
  assert.equal(await page.evaluate(() => window.mirel.stage.comparing), false, 'switched on and off at once');
  const straight = await picture(page);
  await page.keyboard.press('ArrowLeft');
  await page.keyboard.press('ArrowDown');
  await page.keyboard.press('+');
  assert.ok(difference(straight, await picture(page)) > 0.05, 'turned and nearer');
  await page.keyboard.press('f');
  await page.keyboard.press('w');
  assert.deepEqual([await page.isChecked('#show-faces'), await page.isChecked('#show-edges')], [false, true]);
  await page.keyboard.press('w');
  assert.equal(await page.isChecked('#show-faces'), true);
});

test('edges, points, faces and textures can be switched', async () => {
  await setCount(3000);
  const plain = await picture(page);
  for (const [id, on, least] of [
    ['show-edges', true, 0.01],
    ['show-points', true, 0.001],
    ['show-textures', false, 0.1],
    ['show-faces', false, 0.1],
  ]) {
    await page.locator(`#${id}`).setChecked(on);
    if (id === 'show-edges') await until(page, () => window.mirel.model.edges.children.length > 0);
    const changed = difference(plain, await picture(page));
    assert.ok(changed > least, `${id}: ${changed}`);
    await keep(page, `switch-${id}`);
    await page.locator(`#${id}`).setChecked(!on);
    if (id === 'show-edges') await until(page, () => window.mirel.model.edges.children.length === 0);
  }
  assert.ok(difference(plain, await picture(page)) < 0.001, 'as before');
});

test('boundary, sharp and seam edges can be marked', async () => {
  await setCount(6000);
  const plain = await picture(page);
  await page.locator('#show-marks').setChecked(true);
  await until(page, () => window.mirel.model.marks.children.length === 3);
  const counts = await page.evaluate(() => window.mirel.model.marks.children.map((kind) => kind.geometry.attributes.position.count / 2));
  for (const count of counts) assert.ok(count > 0, `${counts}`);
  assert.ok(difference(plain, await picture(page)) > 0.001);
  assert.equal(await page.isVisible('#key'), true);
  await keep(page, 'marks');
});

test('switching faster than the server answers ends where the switch is', async () => {
  for (let i = 0; i < 5; i += 1) await page.click('#compare');
  await until(page, () => window.mirel.stage.comparing);
  await page.click('#compare');
  await until(page, () => !window.mirel.stage.comparing);
});

test('a switch and a move at once end with both', async () => {
  for (const count of [5000, 4000]) {
    await page.locator('#show-edges').setChecked(count === 5000);
    await page.fill('#faces', String(count));
    await page.press('#faces', 'Enter');
    await page.locator('#show-edges').setChecked(count !== 5000);
    await until(page, (most) => window.mirel.frame.head.faces <= most, count);
    await until(page, (edges) => window.mirel.model.edges.children.length === edges, count === 5000 ? 0 : 1);
    assert.ok((await head(page)).faces <= count);
  }
});

test('the original stands beside the result, seen from the same place', async () => {
  const halves = { from: 0, to: 80, fromB: 80 };
  await page.locator('#compare').setChecked(true);
  await until(page, () => window.mirel.original !== null);
  const same = await picture(page);
  assert.ok(difference(same, same, halves) < 0.01, 'at step 0 both halves are the same');
  await setCount(400);
  const reduced = await picture(page);
  assert.ok(difference(reduced, reduced, halves) > 0.005, 'the halves differ');
  assert.ok(difference(same, reduced, { from: 0, to: 78 }) < 0.005, 'the original does not');
  assert.match(await page.textContent('#label-original'), /82,652 faces/);
  assert.match(await page.textContent('#label-reduced'), /^(400|39\d) faces/);
  await keep(page, 'compare');
  const box = await page.locator('#canvas').boundingBox();
  await page.mouse.move(box.x + 200, box.y + 300);
  await page.mouse.down();
  await page.mouse.move(box.x + 320, box.y + 260, { steps: 4 });
  await page.mouse.up();
  const turned = await picture(page);
  for (const half of [{ from: 0, to: 78 }, { from: 82, to: 160 }]) assert.ok(difference(reduced, turned, half) > 0.05);
});

test('a map shows the distance from the original', async () => {
  await page.locator('#heat').setChecked(true);
  await until(page, () => window.mirel.distances !== null);
  assert.equal(await page.evaluate(() => Math.max(...window.mirel.distances.subarray(0, 60000))), 0);
  await setCount(2000);
  const plain = await page.evaluate(() => {
    window.mirel.model.setHeat(null);
    return true;
  });
  assert.ok(plain);
  const uncoloured = await picture(page);
  await page.locator('#heat').setChecked(false);
  await page.locator('#heat').setChecked(true);
  await until(page, () => window.mirel.distances !== null && window.mirel.model.heat);
  assert.ok(difference(uncoloured, await picture(page)) > 0.1);
  const top = Number(await page.textContent('#legend-top'));
  assert.ok(top > 0 && top < 5, `${top}`);
  assert.match(await page.textContent('#legend-note'), /at most [\d.]+ % of the diagonal/);
  await keep(page, 'distance-map');
});

test('a rebuild with other settings shows its progress and another hierarchy', async () => {
  await setCount(2000);
  await page.click('#settings summary');
  await page.selectOption('[name=maintain_uvs]', 'false');
  await page.fill('[name=error_tolerance]', '0.2');
  await page.check('[name=lock_surface_boundaries]');
  await page.click('#rebuild');
  await until(page, () => !document.getElementById('progress').hidden);
  await keep(page, 'rebuilding');
  await until(page, () => document.getElementById('progress').hidden);
  const state = await page.evaluate(() => window.mirel.state);
  assert.deepEqual([state.settings.maintain_uvs, state.settings.error_tolerance, state.settings.lock_surface_boundaries], [false, 0.2, true]);
  const reduced = await head(page);
  assert.ok(reduced.deviation > 0 && reduced.deviation <= 0.2, `${reduced.deviation}`);
  assert.equal(await page.isVisible('#deviation-line'), true);
  assert.equal(reduced.meshes[0].uvs, null);
  await keep(page, 'rebuilt');
  await page.fill('[name=join_normals_threshold]', '181');
  await page.click('#rebuild');
  assert.equal(await page.isVisible('#progress'), false, 'the browser holds back what is out of range');
  await page.fill('[name=join_normals_threshold]', '5');
  await page.fill('[name=error_tolerance]', '');
  await page.selectOption('[name=maintain_uvs]', 'true');
  await page.uncheck('[name=lock_surface_boundaries]');
  await page.click('#rebuild');
  await until(page, () => window.mirel.state.loads === 3 && document.getElementById('progress').hidden);
  assert.equal((await head(page)).deviation, null);
  await page.click('#settings summary');
});

test('the result can be saved in every format', async () => {
  await setCount(1200);
  const { faces } = await head(page);
  const formats = await page.locator('#format option').evaluateAll((options) => options.map((option) => option.value));
  assert.ok(formats.includes('obj') && formats.includes('glb'), `${formats}`);
  for (const format of formats) {
    await page.selectOption('#format', format);
    const [download] = await Promise.all([page.waitForEvent('download'), page.click('#save')]);
    assert.match(download.suggestedFilename(), new RegExp(`^lighthouse-${faces}\\.(${format}|zip)$`));
    const content = readFileSync(await download.path());
    assert.ok(content.length > 1000, `${format}: ${content.length} bytes`);
    if (format === 'glb') assert.equal(content.subarray(0, 4).toString(), 'glTF');
    await until(page, () => !document.getElementById('save').disabled);
  }
  assert.equal(await page.isVisible('#message'), false);
});

test('reloading keeps the place in the hierarchy', async () => {
  await setCount(700);
  const { faces } = await head(page);
  await page.reload();
  await ready(page);
  assert.equal((await head(page)).faces, faces);
  assert.equal(await page.inputValue('#faces'), String(faces));
  await keep(page, 'reloaded');
});

test('a second page follows the first', async () => {
  const other = await open(browser, viewer);
  await setCount(900);
  const { faces } = await head(page);
  await until(other, (count) => window.mirel.frame.head.faces === count, faces);
  await other.context().close();
});

test('a second page learns of another hierarchy', async () => {
  const other = await open(browser, viewer);
  const loads = await other.evaluate(() => window.mirel.state.loads);
  const settings = page.locator('#settings');
  if (!(await settings.evaluate((details) => details.open))) await page.click('#settings summary');
  await page.selectOption('[name=maintain_uvs]', 'false');
  await page.click('#rebuild');
  await until(other, (before) => window.mirel.state.loads > before, loads);
  await until(page, () => !document.getElementById('rebuild').disabled);
  assert.equal(await other.inputValue('[name=maintain_uvs]'), 'false');
  await other.context().close();
  await page.selectOption('[name=maintain_uvs]', 'true');
  await page.click('#rebuild');
  await until(page, () => !document.getElementById('rebuild').disabled);
  assert.equal(await page.evaluate(() => window.mirel.state.settings.maintain_uvs), true);
});

// A browser opens six connections to one place.
test('more pages than a browser has connections all get their answers', async () => {
  const context = await browser.newContext();
  const others = [];
  for (let i = 0; i < 8; i += 1) {
    const other = await context.newPage();
    // Tabs behind the first one are hidden; here all of them count as shown.
    await other.addInitScript(() => {
      window.front = true;
      Object.defineProperty(document, 'hidden', { get: () => !window.front });
    });
    await other.goto(viewer.address);
    await ready(other);
    others.push(other);
    await other.evaluate(() => {
      window.front = false;
      document.dispatchEvent(new Event('visibilitychange'));
    });
  }
  await setCount(1100);
  const { faces } = await head(page);
  await others[0].evaluate(() => {
    window.front = true;
    document.dispatchEvent(new Event('visibilitychange'));
  });
  await until(others[0], (count) => window.mirel.frame.head.faces === count, faces);
  await context.close();
});

test('every control has a name, and can be reached with the keyboard', async () => {
  const nameless = await page.evaluate(() =>
    [...document.querySelectorAll('button, input, select, canvas, summary')]
      .filter((control) => !control.closest('[hidden]'))
      .filter((control) => !(control.labels?.length || control.getAttribute('aria-label') || control.textContent.trim()))
      .map((control) => control.outerHTML),
  );
  assert.deepEqual(nameless, []);
  await page.evaluate(() => document.activeElement.blur());
  const reached = new Set();
  for (let i = 0; i < 40; i += 1) {
    await page.keyboard.press('Tab');
    reached.add(await page.evaluate(() => document.activeElement.id || document.activeElement.dataset.move || document.activeElement.tagName));
  }
  for (const id of ['canvas', 'fit', 'faces', 'slider', 'coarser', 'lowest', 'show-edges', 'compare', 'format', 'save']) {
    assert.ok(id === 'lowest' || reached.has(id), `${id} of ${[...reached]}`);
  }
});
