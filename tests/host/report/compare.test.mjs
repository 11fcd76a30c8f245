// The page of two runs, and of a selected joint.
import assert from 'node:assert/strict';
import {join} from 'node:path';
import {test} from 'node:test';
import {drawn, open} from './browser.mjs';
import {browser, fast, near, show} from './fast.mjs';
import {motions, Report} from './report.mjs';

test('two runs: both verdicts and figures, one time line, values of both at one time, a shift', async (t) => {
  const squat = Report.onGround(join(motions, 'squat.csv'));
  const both = new Report('a.csv', fast, [squat.file]);
  t.after(() => [squat, both].forEach((report) => report.remove()));
  const page = await open(both, browser, {viewport: {width: 360, height: 740}});
  assert.equal(await page.locator('h1').textContent(), 'A a.csv, B squat-results.csv');
  assert.equal(await page.evaluate(() => document.documentElement.scrollWidth), 360);
  const [first, second] = await page.locator('#verdicts li').allInnerTexts();
  assert.match(first, /^A tips .* mm at .* intervals; largest torque/);
  const least = Math.min(...squat.columns.zmp_margin);
  assert.ok(second.startsWith(`B stays on its feet, ${Number((1000 * least).toPrecision(3))} mm of margin; largest torque`), second);
  const [a, b] = [both.columns, squat.columns];
  assert.ok(a.time.at(-1) < b.time.at(-1));
  const peak = (columns, joint) => Math.max(...columns[`${joint}_torque`].map(Math.abs));
  assert.deepEqual(await page.locator('#peaks-head th').evaluateAll((all) => all.filter((e) => e.checkVisibility()).map((e) => e.textContent)),
                   ['Joint', 'A a', 'B squat', 'B − A']);
  for (const joint of ['LKneePitch', 'RHipRoll']) {
    const d = peak(b, joint) - peak(a, joint);
    assert.equal(await page.locator(`tr[data-joint=${joint}] .difference`).textContent(),
                 `${d < 0 ? '−' : '+'}${Math.abs(d).toFixed(4)}`);
  }
  const value = () => page.locator('.entry[data-joint=LKneePitch] .value').textContent();
  const nearest = (times, t) => times.reduce((best, one, i) => Math.abs(one - t) < Math.abs(times[best] - t) ? i : best, 0);
  // Values and figures of both runs at a time; A stays where it ends.
  const expect = async (t, shift) => {
    const [i, j] = [nearest(a.time, t), nearest(b.time, t - shift)];
    const shown_a = t > a.time.at(-1) ? '–' : a.LKneePitch_torque[i].toFixed(4);
    assert.equal(await value(), `${shown_a} B ${b.LKneePitch_torque[j].toFixed(4)}`);
    const places = await page.evaluate(() => [korvel.figure.robot, korvel.figure.ghost].map(({limbs}) => limbs.flatMap(({parts}) => parts).map(
        ({body, ball}) => [body.name, ball.position.toArray()])));
    for (const [of, sample, report] of [[places[0], i, both], [places[1], j, squat]]) {
      assert.equal(of.length, 24);
      for (const [body, place] of of) near(place, report.point(body, sample), 1e-5, body);
    }
  };
  await show(page, 300);
  await expect(a.time[300], 0);
  const end = () => page.evaluate(() => korvel.view.span.value[1]);
  assert.equal(await end(), b.time.at(-1));
  await page.keyboard.press('End');
  await drawn(page);
  assert.equal(await page.locator('#clock').textContent(), `${b.time.at(-1).toFixed(3)} / ${b.time.at(-1).toFixed(3)} s`);
  await expect(b.time.at(-1), 0);
  await show(page, 300);
  await page.locator('#shift').fill('0.2');
  await drawn(page);
  await expect(a.time[300], 0.2);
  assert.ok(Math.abs(await end() - b.time.at(-1) - 0.2) < 1e-9);
  assert.deepEqual(page.faults, []);
});

// A chart for each quantity that the results have, of the joint that is selected, with the limits of the side file.
test('angle, speed and power of the selected joint stand beside its torque', async (t) => {
  const side = JSON.parse(fast.side);
  const [header, ...rows] = fast.results.trim().split('\n');
  const kinds = ['angle', 'speed', 'power'];
  const names = side.joints.flatMap(({name}) => ['angle', 'speed'].map((kind) => `${name}_${kind}`)).filter((name) => !header.includes(name));
  const results = [[header, ...names].join(','), ...rows.map((row, s) => [row, ...names.map((_, i) => (0.001 * s + i).toFixed(3))].join(',')), ''].join('\n');
  side.limits = {LKneePitch: {lower: -90.5, upper: 200.5}};
  const report = new Report('more.csv', {...fast, results, side: JSON.stringify(side)});
  t.after(() => report.remove());
  const page = await open(report, browser);
  await show(page, 100);
  for (const joint of ['RHipRoll', 'LKneePitch']) {
    await page.locator(`tr[data-joint=${joint}] button`).click();
    await show(page, 100);
    for (const kind of ['torque', ...kinds]) {
      const [torque, speed] = ['torque', 'speed'].map((one) => report.columns[`${joint}_${one}`][100]);
      const value = kind === 'power' ? Math.fround(torque * speed) : report.columns[`${joint}_${kind}`][100];
      assert.equal(await page.locator(`[data-joint-curve=${kind}]`).textContent(), value.toFixed(4), kind);
    }
  }
  const scale = await page.evaluate(() => {
    const {plot} = korvel.charts.find(({curves}) => curves[0].name === 'LKneePitch_angle');
    return [plot.scales.y.min, plot.scales.y.max];
  });
  assert.ok(scale[0] < -90.5 && scale[1] > 200.5, `${scale} has no room for the limits`);
  assert.deepEqual(page.faults, []);
});
