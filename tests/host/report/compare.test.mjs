// The page of two runs, and of a selected joint.
import assert from 'node:assert/strict';
import {drawn} from './browser.mjs';
import {fast} from './fast.mjs';
import {expectWidth, near, nearest, onPageOf, show} from './pages.mjs';
import {Report} from './report.mjs';

const squat = Report.of('squat');
const both = new Report('a.csv', fast, [squat.file]);
const narrow = {viewport: {width: 360, height: 740}};
onPageOf(both)('two runs: both verdicts and figures, one time line, values of both at one time, a shift', narrow, async (page) => {
  assert.equal(await page.locator('h1').textContent(), 'A a.csv, B squat-results.csv');
  await expectWidth(page, 360);
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
});

// The joints of the fast step are within their limits of the angle, which the charts leave room for, and beyond others.
const limited = onPageOf(Report.withLimits('fast_step'));
limited('charts of the selected joint have its limits, and a press on an exceeded limit goes there', {}, async (page, report) => {
  const {columns} = report;
  for (const joint of ['RHipRoll', 'LKneePitch']) {
    await page.locator(`tr[data-joint=${joint}] button`).click();
    await show(page, 100);
    for (const kind of ['torque', 'angle', 'speed', 'power']) {
      assert.equal(await page.locator(`[data-joint-curve=${kind}]`).textContent(), columns[`${joint}_${kind}`][100].toFixed(4), kind);
    }
  }
  const [lower, upper] = ['lower', 'upper'].map((end) => JSON.parse(report.side).limits.uses.find(({joint, limit}) => joint === 'LKneePitch' && limit === end).value);
  const scale = await page.evaluate(() => {
    const {plot} = korvel.charts.find(({curves}) => curves[0].name === 'LKneePitch_angle');
    return [plot.scales.y.min, plot.scales.y.max];
  });
  assert.ok(scale[0] < lower && scale[1] > upper, `${scale} has no room for the limits`);
  const header = page.locator('#verdicts li');
  assert.match(await header.innerText(), /exceeds limits: 2 of 96; largest torque/);
  assert.match(await header.locator('.dot').getAttribute('style'), /unborne/);
  const rows = [...report.summary.matchAll(/^  (\w+) (\w+) +([\d.]+) .* %  +(\d+) +([\d.]+)$/gm)];
  const buttons = page.locator('#limits button');
  assert.equal(rows.length, 2);
  assert.equal(await buttons.count(), rows.length);
  for (const [, joint, limit, reached, samples, time] of rows) {
    const press = buttons.filter({hasText: `${joint} ${limit}`});
    assert.ok((await press.innerText()).startsWith(`${joint} ${limit} reaches ${reached} `));
    assert.ok((await press.innerText()).endsWith(`; ${samples} samples from ${time}\u00a0s`), await press.innerText());
    await press.click();
    assert.match(await page.locator('#clock').textContent(), new RegExp(`^${time} /`));
    assert.equal(await page.locator('#joint-title').textContent(), `Selected joint: ${joint}`);
  }
});
