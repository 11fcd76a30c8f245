// The page of a run on the ground, and what acts on all curves.
import assert from 'node:assert/strict';
import {readFileSync} from 'node:fs';
import {drawn} from './browser.mjs';
import {faint} from './contrast.mjs';
import {fast, onPage} from './fast.mjs';
import {expectWidth, near, onPageOf, show} from './pages.mjs';
import {example, Report, write} from './report.mjs';

const feet = ['LAnkleRoll', 'RAnkleRoll'];

// Returns the places at which things are drawn: the arrows, or null, the corners of the soles, the zero moment point,
// and the corners of the polygon in the view from above.
const placesOf = async (page) => {
  const places = await page.evaluate(() => {
    const {robot: {plates}, feet: {arrows, point}} = korvel.figure;
    const corner = point.position.clone();
    const vertices = ({mesh}) => {
      mesh.updateMatrixWorld();
      const {position} = mesh.geometry.attributes;
      return Array.from({length: position.count}, (_, i) => mesh.localToWorld(corner.fromBufferAttribute(position, i)).toArray());
    };
    const base = ({shaft}) => shaft.localToWorld(shaft.position.clone().set(0, -0.5, 0)).toArray();
    return {
      arrows: arrows.map((arrow) => arrow.tip.visible ? [base(arrow), arrow.tip.position.toArray()] : null),
      soles: plates.map(vertices),
      zmp: point.position.toArray(),
    };
  });
  const polygon = await page.locator('.top-view polygon.support').evaluate((e) => [...e.points].map((p) => [p.x, p.y]));
  return {...places, polygon};
};
// Sole by sole the corners in the world, by the rotation matrix of the file's quaternion.
const soleRows = example('soles').slice(1).map((row) => row.split(','));
function corners(report, foot, sample) {
  const [w, x, y, z] = report.point(foot, sample, ['qw', 'qx', 'qy', 'qz']);
  const R = [
    [1 - 2 * (y * y + z * z), 2 * (x * y - w * z), 2 * (x * z + w * y)],
    [2 * (x * y + w * z), 1 - 2 * (x * x + z * z), 2 * (y * z - w * x)],
    [2 * (x * z - w * y), 2 * (y * z + w * x), 1 - 2 * (x * x + y * y)],
  ];
  const origin = report.point(foot, sample);
  return soleRows.filter(([body]) => body === foot).map(
      ([, ...c]) => R.map((row, i) => origin[i] + row.reduce((sum, r, k) => sum + r * Number(c[k]), 0)));
}
// Returns the corners that carry load: those up to 5 mm above the lowest one.
function bearing(report, foot, sample) {
  const all = corners(report, foot, sample);
  return all.filter(([, , z]) => z <= Math.min(...all.map((corner) => corner[2])) + 0.005);
}
const inside = (polygon, [x, y], slack) => polygon.every(([ax, ay], i) => {
  const [bx, by] = polygon[(i + 1) % polygon.length];
  return (bx - ax) * (y - ay) - (by - ay) * (x - ax) > -slack;
});

onPage('arrows, soles, polygon and zero moment point are those of the file', {}, async (page, report) => {
  const {columns} = report;
  let arrows_seen = 0;
  const weight = await page.evaluate(() => korvel.motion.mass) * 9.81;
  for (const sample of [0, 200, 333, 400, 600, columns.time.length - 1]) {
    await show(page, sample);
    const places = await placesOf(page);
    near(places.zmp, [...report.point('zmp', sample, ['x', 'y']), 0], 1e-5, 'zero moment point');
    feet.forEach((foot, i) => {
      const force = report.point(`${foot}_force`, sample);
      const share = Math.hypot(...force) / weight;
      if (!places.arrows[i]) return assert.ok(share < 0.006, `${foot} has no arrow, ${share}`);
      ++arrows_seen;
      const [from, to] = places.arrows[i];
      near(from, [...report.point(`${foot}_cop`, sample, ['x', 'y']), 0], 2e-5, `foot of the arrow of ${foot}`);
      near(to.map((v, k) => v - from[k]), force.map((f) => 0.25 * f / weight), 2e-4, `arrow of ${foot}`);
      // The plate of the foot stands on the sole, and rises from it.
      const points = corners(report, foot, sample);
      for (const corner of points) {
        assert.ok(places.soles[i].some((p) => Math.hypot(...p.map((v, k) => v - corner[k])) < 3e-5), `corner of ${foot}`);
      }
      const heights = [places.soles[i], points].map((all) => all.map(([, , z]) => z));
      assert.ok(Math.min(...heights[0]) > Math.min(...heights[1]) - 3e-5 && Math.max(...heights[0]) > Math.max(...heights[1]));
    });
    // The polygon's corners are corners of soles that stand, and it covers all of these.
    const standing = feet.filter((foot) => columns[`${foot}_contact`][sample]).flatMap((foot) => bearing(report, foot, sample));
    for (const [x, y] of places.polygon) {
      assert.ok(standing.some((p) => Math.hypot(p[0] - x, p[1] - y) < 3e-5), 'a corner of the polygon');
    }
    for (const point of standing) assert.ok(inside(places.polygon, point, 1e-5), `${point} outside`);
    const spot = await page.locator('.top-view .spot.zmp').evaluate((dot) => [dot.cx.baseVal.value, dot.cy.baseVal.value]);
    near(spot, report.point('zmp', sample, ['x', 'y']), 5e-5, 'from above');
    for (const name of [...feet.map((foot) => `${foot}_force_z`), 'zmp_margin']) {
      assert.equal(await page.locator(`[data-curve=${name}]`).textContent(), columns[name][sample].toFixed(4));
    }
  }
  assert.ok(arrows_seen > 6);
});

// Leaning to one side the robot stands on the edges of its soles, and the margin is told to the polygon of these.
const [header, first] = example('squat');
const names = header.split(',');
const rows = [0, 1].map((time) => names.map((name, i) => name === 'time' ? time : name === 'roll' ? 0.1 : first.split(',')[i]).join(','));
const leaning = write('leaning.csv', [`${header},LAnkleRoll_contact,RAnkleRoll_contact`, ...rows.map((row) => `${row},1,1`)]);
onPageOf(Report.of(leaning))('of a tilted sole the polygon has the corners that bear', {}, async (page, report) => {
  await show(page, 1);
  const {polygon} = await placesOf(page);
  const expected = feet.flatMap((foot) => bearing(report, foot, 1));
  assert.deepEqual([expected.length, polygon.length], [4, 4]);
  for (const [x, y] of polygon) assert.ok(expected.some((p) => Math.hypot(p[0] - x, p[1] - y) < 3e-5));
  assert.equal(inside(polygon, report.point('zmp', 1, ['x', 'y']), 0), report.columns.zmp_margin[1] > 0);
});

// The page uses the words of the terminal, and a press goes to the sample with the largest unsupported weight.
onPage('the header has the worst, what cannot be borne is listed and gone to', {}, async (page, {columns}) => {
  const words = fast.words;
  const buttons = page.locator('#intervals button');
  const spans = [...fast.summary.matchAll(/^ {2}([\d.]+) to ([\d.]+) s /gm)].map(([, from, to]) => [from, to].map(Number));
  assert.ok(spans.length > 1);
  assert.deepEqual([await buttons.count(), await page.locator('#flags i').count()], [spans.length, spans.length]);
  const listed = spans.flatMap(([from, to]) => [...columns.time.keys()].filter((s) => columns.time[s] >= from - 5e-4 && columns.time[s] <= to + 5e-4));
  assert.deepEqual(listed, [...columns.time.keys()].filter((s) => columns.feasible[s] === 0));
  assert.ok((await page.locator('#intervals p').innerText()).endsWith(`cannot stay on its feet: ${spans.length} intervals`));
  const seen = (locator) => locator.innerText().then((text) => text.replace(/\s+/g, ' '));
  let worst = {load: 0};
  for (const [i, [from, to]] of spans.entries()) {
    const text = await seen(buttons.nth(i));
    assert.ok(words.includes(text), `${text} in ${words}`);
    const inside = [...columns.time.keys()].filter((s) => columns.time[s] >= from - 5e-4 && columns.time[s] <= to + 5e-4);
    const sample = inside.reduce((a, b) => columns.contact_residual[b] > columns.contact_residual[a] ? b : a);
    await buttons.nth(i).click();
    assert.equal(Number(await page.locator('#slider').inputValue()), sample);
    const load = columns.contact_residual[sample];
    if (load > worst.load) worst = {load, reason: text.match(/ s (.*);/)[1], from, to};
  }
  const header = await seen(page.locator('header'));
  const [, reason, time, count] = header.match(/The robot (.*?) at ([\d.]+) s, (\d+) intervals; largest torque/);
  assert.equal(reason, worst.reason);
  assert.equal(Number(count), spans.length);
  assert.ok(Number(time) >= worst.from && Number(time) <= worst.to);
  if (reason.startsWith('tips')) {
    const outside = -columns.zmp_margin[columns.time.findIndex((t) => Math.abs(t - time) < 5e-4)];
    assert.equal(reason.match(/by (\S+) mm/)[1], String(Number((1000 * outside).toPrecision(3))));
  }
  for (const row of await page.locator('#margins tbody tr').all()) {
    const [name, ...cells] = await row.locator('th, td').allInnerTexts();
    assert.ok(words.includes(name) && cells.every((cell) => words.includes(cell.replace('–', '-').trim())), `${name}: ${cells}`);
  }
});

// The marks of the soles' first contacts are where the soles were, and one letter each stands on them.
onPage('from above there are footprints, and letters of one size', {}, async (page, {columns}) => {
  const prints = await page.locator('.top-view .print').evaluateAll(
      (all) => all.map((e) => ({side: e.getAttribute('style'), points: [...e.points].map((p) => [p.x, p.y])})));
  const landings = feet.flatMap((foot) => [...columns.time.keys()].filter(
      (s) => columns[`${foot}_contact`][s] && !columns[`${foot}_contact`][s - 1]).map((s) => [foot, s]));
  assert.equal(prints.length, landings.length);
  landings.forEach(([foot, s], i) => {
    assert.match(prints[i].side, foot[0] === 'L' ? /left/ : /right/);
    for (const [x, y] of corners(fast, foot, s)) {
      assert.ok(prints[i].points.some((p) => Math.hypot(p[0] - x, p[1] - y) < 3e-5), `footprint of ${foot}`);
    }
  });
  for (const width of [360, 768, 1440]) {
    await page.setViewportSize({width, height: 740});
    await drawn(page);
    const heights = await page.locator('.top-view text').evaluateAll((all) => all.map((e) => [e.textContent, e.getBoundingClientRect().height]));
    assert.deepEqual(heights.map(([text]) => text).sort(), ['10 cm', 'L', 'R']);
    for (const [text, height] of heights) assert.ok(height > 11 && height < 22, `${text} is ${height} px high at ${width} px`);
    // The drawing covers more than half of the picture in both directions.
    const share = await page.locator('.top-view svg').evaluate((svg) => {
      const [all, drawing] = [svg, svg.firstElementChild].map((e) => e.getBoundingClientRect());
      return [drawing.width / all.width, drawing.height / all.height];
    });
    assert.ok(share.every((part) => part > 0.5), `${share} at ${width} px`);
  }
});

onPage('a drag zooms all curves, a second cursor tells differences, curves are saved', {}, async (page, {columns}) => {
  const over = page.locator('#torque-panels .panel', {hasText: 'Left leg'}).locator('.u-over');
  await over.scrollIntoViewIfNeeded();
  const box = await over.boundingBox();
  const last = columns.time.at(-1);
  await page.mouse.move(box.x + 0.25 * box.width, box.y + 8);
  await page.mouse.down();
  await page.mouse.move(box.x + 0.5 * box.width, box.y + 8, {steps: 3});
  await page.mouse.up();
  const spans = () => page.evaluate(() => korvel.charts.map(({plot}) => [plot.scales.x.min, plot.scales.x.max]));
  for (const span of await spans()) near(span, [0.25 * last, 0.5 * last], 0.01 * last, 'zoomed');
  // The saved numbers are the ones in view.
  const [download] = await Promise.all([
    page.waitForEvent('download'), page.getByRole('button', {name: 'Save Vertical force as CSV'}).click(),
  ]);
  const [header, ...rows] = readFileSync(await download.path(), 'utf8').trim().split('\n');
  assert.equal(header, 'time,LAnkleRoll_force_z,RAnkleRoll_force_z');
  const [[low, high]] = await spans();
  const seen = columns.time.map((_, s) => s).filter((s) => columns.time[s] >= low && columns.time[s] <= high);
  assert.equal(rows.length, seen.length);
  rows.forEach((row, i) => {
    const [time, ...forces] = row.split(',').map(Number);
    assert.ok(Math.abs(time - columns.time[seen[i]]) < 1e-9);
    assert.deepEqual(forces.map(Math.fround), feet.map((foot) => columns[`${foot}_force_z`][seen[i]]));
  });
  const [picture] = await Promise.all([
    page.waitForEvent('download'), page.getByRole('button', {name: 'Save Margin as PNG'}).click(),
  ]);
  assert.deepEqual([...readFileSync(await picture.path()).subarray(1, 4)], [0x50, 0x4e, 0x47]);
  await page.getByRole('button', {name: 'All times'}).click();
  for (const span of await spans()) near(span, [0, last], 1e-9, 'all times');

  await show(page, 100);
  await page.getByRole('button', {name: 'Second cursor'}).click();
  await show(page, 150);
  const [then, now] = [100, 150].map((s) => columns.zmp_margin[s]);
  const difference = `${now < then ? '−' : '+'}${Math.abs(now - then).toFixed(4)}`;
  assert.equal(await page.locator('[data-curve=zmp_margin]').textContent(), `${now.toFixed(4)} Δ ${difference}`);
  assert.ok((await page.locator('#apart').textContent()).endsWith(`Δt ${(columns.time[150] - columns.time[100]).toFixed(3)} s`));
});

for (const colorScheme of ['light', 'dark']) {
  onPage(`readable on a phone and on screens, ${colorScheme}`, {colorScheme}, async (page) => {
    for (const width of [360, 768, 1440]) {
      await page.setViewportSize({width, height: 740});
      await drawn(page);
      const {texts, found} = await page.evaluate(faint);
      assert.ok(texts > 100);
      assert.deepEqual(found, []);
      await expectWidth(page, width);
    }
  });
}

onPageOf(Report.inAir('squat'))('of a run in the air nothing of the ground is shown', {}, async (page) => {
  const text = await page.locator('body').innerText();
  assert.ok(!/zero moment|support polygon|On the ground/.test(text));
  assert.match(text, /Torques of the motion in the air/);
});
