// The page of a run on the ground, of two runs, and what acts on all curves.
import assert from 'node:assert/strict';
import {readFileSync, writeFileSync} from 'node:fs';
import {join} from 'node:path';
import {after, before, test} from 'node:test';
import {drawn, launch, open} from './browser.mjs';
import {faint} from './contrast.mjs';
import {motions, Report} from './report.mjs';

let browser;
let fast;  // a weight shift in which the robot falls
const feet = ['LAnkleRoll', 'RAnkleRoll'];
before(async () => {
  browser = await launch();
  const [header, ...rows] = readFileSync(join(motions, 'weight_shift.csv'), 'utf8').trim().split('\n');
  const faster = rows.map((row) => row.replace(/^[^,]*/, (time) => (0.2 * time).toFixed(4)));
  const wave = Report.ofMotion(join(motions, 'wave.csv'));
  const motion = join(wave.folder, 'fast.csv');
  writeFileSync(motion, [header, ...faster, ''].join('\n'));
  fast = Report.onGround(motion);
  wave.remove();
});
after(async () => {
  await browser.close();
  fast.remove();
});

const onPage = (name, options, body, report = () => fast) => test(name, async (t) => {
  const page = await open(report(), browser, options);
  t.after(() => page.context().close());
  await body(page, report().columns);
  assert.deepEqual(page.faults, []);
});
const show = async (page, sample) => {
  await page.locator('#slider').fill(String(sample));
  await drawn(page);
};
// Where things are drawn: the arrows, null where there is none, the corners of the soles, the zero moment point; and from
// above the corners of the polygon.
const placesOf = async (page) => {
  const places = await page.evaluate(() => {
    const {arrows, outlines, point} = korvel.figure.feet;
    const base = ({shaft}) => shaft.localToWorld(shaft.position.clone().set(0, -0.5, 0)).toArray();
    return {
      arrows: arrows.map((arrow) => arrow.tip.visible ? [base(arrow), arrow.tip.position.toArray()] : null),
      soles: outlines.map(({geometry}) => [...geometry.attributes.position.array]),
      zmp: point.position.toArray(),
    };
  });
  const polygon = await page.locator('.top-view polygon.support').evaluate((e) => [...e.points].map((p) => [p.x, p.y]));
  return {...places, polygon};
};
const at = (columns, names, sample) => names.map((name) => columns[name][sample]);
const near = (a, b, tolerance, what) => {
  assert.equal(a.length, b.length, what);
  a.forEach((v, i) => assert.ok(Math.abs(v - b[i]) < tolerance, `${what}: ${a} is not ${b}`));
};
// Sole by sole the corners in the world, by the rotation matrix of the file's quaternion.
const soleRows = readFileSync(join(motions, 'soles.csv'), 'utf8').trim().split('\n').slice(1).map((row) => row.split(','));
function corners(columns, foot, sample) {
  const [w, x, y, z] = at(columns, ['w', 'x', 'y', 'z'].map((part) => `${foot}_q${part}`), sample);
  const R = [
    [1 - 2 * (y * y + z * z), 2 * (x * y - w * z), 2 * (x * z + w * y)],
    [2 * (x * y + w * z), 1 - 2 * (x * x + z * z), 2 * (y * z - w * x)],
    [2 * (x * z - w * y), 2 * (y * z + w * x), 1 - 2 * (x * x + y * y)],
  ];
  const origin = at(columns, ['x', 'y', 'z'].map((axis) => `${foot}_${axis}`), sample);
  return soleRows.filter(([body]) => body === foot).map(
      ([, ...c]) => R.map((row, i) => origin[i] + row.reduce((sum, r, k) => sum + r * Number(c[k]), 0)));
}
// Those that bear: up to 5 mm above the lowest one.
function bearing(columns, foot, sample) {
  const all = corners(columns, foot, sample);
  return all.filter(([, , z]) => z <= Math.min(...all.map((corner) => corner[2])) + 0.005);
}
const inside = (polygon, [x, y], slack) => polygon.every(([ax, ay], i) => {
  const [bx, by] = polygon[(i + 1) % polygon.length];
  return (bx - ax) * (y - ay) - (by - ay) * (x - ax) > -slack;
});

onPage('arrows, soles, polygon and zero moment point are those of the file', {}, async (page, columns) => {
  let arrows_seen = 0;
  const weight = await page.evaluate(() => korvel.motion.mass) * 9.81;
  for (const sample of [0, 200, 333, 400, 600, columns.time.length - 1]) {
    await show(page, sample);
    const places = await placesOf(page);
    near(places.zmp, [...at(columns, ['zmp_x', 'zmp_y'], sample), 0], 1e-5, 'zero moment point');
    feet.forEach((foot, i) => {
      const force = at(columns, ['x', 'y', 'z'].map((axis) => `${foot}_force_${axis}`), sample);
      const share = Math.hypot(...force) / weight;
      if (!places.arrows[i]) return assert.ok(share < 0.006, `${foot} has no arrow, ${share}`);
      ++arrows_seen;
      const [from, to] = places.arrows[i];
      near(from, [...at(columns, [`${foot}_cop_x`, `${foot}_cop_y`], sample), 0], 2e-5, `foot of the arrow of ${foot}`);
      near(to.map((v, k) => v - from[k]), force.map((f) => 0.25 * f / weight), 2e-4, `arrow of ${foot}`);
      const points = corners(columns, foot, sample);
      assert.equal(places.soles[i].length, 12);
      for (let c = 0; c < 4; ++c) {
        const found = places.soles[i].slice(3 * c, 3 * c + 3);
        assert.ok(points.some((p) => Math.hypot(...p.map((v, k) => v - found[k])) < 3e-5), `corner of ${foot}`);
      }
    });
    // The polygon's corners are corners of soles that stand, and it covers all of these.
    const standing = feet.filter((foot) => columns[`${foot}_contact`][sample]).flatMap((foot) => bearing(columns, foot, sample));
    for (const [x, y] of places.polygon) {
      assert.ok(standing.some((p) => Math.hypot(p[0] - x, p[1] - y) < 3e-5), 'a corner of the polygon');
    }
    for (const point of standing) assert.ok(inside(places.polygon, point, 1e-5), `${point} outside`);
    // The margin in the file is the distance to the edge of what is drawn.
    const [x, y] = at(columns, ['zmp_x', 'zmp_y'], sample);
    const distances = places.polygon.map(([ax, ay], i) => {
      const [bx, by] = places.polygon[(i + 1) % places.polygon.length];
      const share = Math.min(Math.max(((x - ax) * (bx - ax) + (y - ay) * (by - ay)) / ((bx - ax) ** 2 + (by - ay) ** 2), 0), 1);
      return Math.hypot(x - ax - share * (bx - ax), y - ay - share * (by - ay));
    });
    const margin = (inside(places.polygon, [x, y], 0) ? 1 : -1) * Math.min(...distances);
    assert.ok(Math.abs(margin - columns.zmp_margin[sample]) < 1e-4, `${margin}`);
    const spot = await page.locator('.top-view .spot.zmp').evaluate((dot) => [dot.cx.baseVal.value, dot.cy.baseVal.value]);
    near(spot, [x, y], 5e-5, 'from above');
    for (const name of [...feet.map((foot) => `${foot}_force_z`), 'zmp_margin']) {
      assert.equal(await page.locator(`[data-curve=${name}]`).textContent(), columns[name][sample].toFixed(4));
    }
  }
  assert.ok(arrows_seen > 6);
});

// Leaning to one side the robot stands on the edges of its soles, and the margin is told to the polygon of these.
test('of a tilted sole the polygon has the corners that bear', async (t) => {
  const [header, first] = readFileSync(join(motions, 'squat.csv'), 'utf8').trim().split('\n');
  const names = header.split(',');
  const row = (time) => names.map((name, i) => name === 'time' ? time : name === 'roll' ? 0.1 : first.split(',')[i]).join(',');
  const motion = join(fast.folder, 'leaning.csv');
  writeFileSync(motion, [`${header},LAnkleRoll_contact,RAnkleRoll_contact`, `${row(0)},1,1`, `${row(1)},1,1`, ''].join('\n'));
  const leaning = Report.onGround(motion);
  t.after(() => leaning.remove());
  const page = await open(leaning, browser);
  await show(page, 1);
  const {polygon} = await placesOf(page);
  const expected = feet.flatMap((foot) => bearing(leaning.columns, foot, 1));
  assert.equal(expected.length, 4);
  assert.equal(polygon.length, 4);
  for (const [x, y] of polygon) assert.ok(expected.some((p) => Math.hypot(p[0] - x, p[1] - y) < 3e-5));
  const zmp = at(leaning.columns, ['zmp_x', 'zmp_y'], 1);
  assert.equal(inside(polygon, zmp, 0), leaning.columns.zmp_margin[1] > 0);
  await page.context().close();
});

onPage('what cannot be borne is red, listed and gone to', {}, async (page, columns) => {
  const spans = [];
  columns.feasible.forEach((feasible, s) => {
    if (feasible) return;
    if (spans.at(-1)?.[1] === s - 1) spans.at(-1)[1] = s;
    else spans.push([s, s]);
  });
  const count = columns.feasible.filter((feasible) => !feasible).length;
  assert.ok(count > 20 && spans.length > 1);
  assert.ok((await page.locator('#verdict').textContent()).includes(`cannot stay on its feet: ${count} of ${columns.time.length} samples`));
  const buttons = page.locator('#spans button');
  assert.equal(await buttons.count(), Math.min(spans.length, 12));
  for (const i of [0, await buttons.count() - 1]) {
    const [first, last] = spans[i];
    const worst = Math.max(...columns.contact_residual.slice(first, last + 1));
    const times = [...new Set(spans[i])].map((s) => columns.time[s].toFixed(3)).join(' – ');
    assert.equal(await buttons.nth(i).textContent(), `${times} s: ${(100 * worst).toFixed(1)} %`);
    await buttons.nth(i).click();
    assert.equal(Number(await page.locator('#slider').inputValue()), first);
  }
});

onPage('a drag zooms all curves, a second cursor tells differences, curves are saved', {}, async (page, columns) => {
  const over = page.locator('#torque-panels .u-over').first();
  await over.scrollIntoViewIfNeeded();
  const box = await over.boundingBox();
  const last = columns.time.at(-1);
  await page.mouse.move(box.x + 0.25 * box.width, box.y + 8);
  await page.mouse.down();
  await page.mouse.move(box.x + 0.5 * box.width, box.y + 8, {steps: 3});
  await page.mouse.up();
  const spans = () => page.evaluate(() => korvel.charts.map(({plot}) => [plot.scales.x.min, plot.scales.x.max]));
  for (const span of await spans()) near(span, [0.25 * last, 0.5 * last], 0.01 * last, 'zoomed');
  // What is saved is what is seen.
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
      assert.equal(await page.evaluate(() => document.documentElement.scrollWidth), width);
    }
  });
}

test('two runs: values of both at one time, differences of the peaks, a shift', async (t) => {
  const squat = Report.onGround(join(motions, 'squat.csv'));
  const both = new Report('a.csv', fast, [join(squat.folder, 'squat-results.csv')]);
  t.after(() => [squat, both].forEach((report) => report.remove()));
  const page = await open(both, browser, {viewport: {width: 360, height: 740}});
  assert.equal(await page.locator('h1').textContent(), 'A a.csv, B squat-results.csv');
  assert.equal(await page.evaluate(() => document.documentElement.scrollWidth), 360);
  const [a, b] = [both.columns, squat.columns];
  const peak = (columns, joint) => Math.max(...columns[`${joint}_torque`].map(Math.abs));
  for (const joint of ['LKneePitch', 'RHipRoll']) {
    const d = peak(b, joint) - peak(a, joint);
    assert.equal(await page.locator(`tr[data-joint=${joint}] .difference`).textContent(),
                 `${d < 0 ? '−' : '+'}${Math.abs(d).toFixed(4)}`);
  }
  const value = () => page.locator('.entry[data-joint=LKneePitch] .value').textContent();
  const sample = 300;
  const expect = async (shift) => {
    const t = a.time[sample] - shift;
    const distances = b.time.map((one) => Math.abs(one - t));
    const other = b.LKneePitch_torque[distances.indexOf(Math.min(...distances))];
    assert.equal(await value(), `${a.LKneePitch_torque[sample].toFixed(4)} B ${other.toFixed(4)}`);
  };
  await show(page, sample);
  await expect(0);
  await page.locator('#shift').fill('0.2');
  await expect(0.2);
  assert.ok(Math.abs(await page.evaluate(() => korvel.view.span.value[1]) - Math.max(a.time.at(-1), b.time.at(-1) + 0.2)) < 1e-9);
  assert.deepEqual(page.faults, []);
});

test('of a run in the air nothing of the ground is shown', async (t) => {
  const air = Report.ofMotion(join(motions, 'squat.csv'));
  t.after(() => air.remove());
  const page = await open(air, browser);
  assert.ok(!/zero moment|support polygon|On the ground/.test(await page.locator('body').innerText()));
  assert.match(await page.locator('#borne').innerText(), /in the air/);
  assert.deepEqual(page.faults, []);
});
