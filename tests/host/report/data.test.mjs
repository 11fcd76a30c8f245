// Tests what the page reads from its data, without a browser.
import assert from 'node:assert/strict';
import {execFileSync} from 'node:child_process';
import {statSync} from 'node:fs';
import {test} from 'node:test';
import {readMotion} from '../../../host/report/src/data/motion.js';
import {peakText, verdictText} from '../../../host/report/src/verdict.js';
import {example, inOneLine, Report, textOf, write} from './report.mjs';

const motionOf = (report) => readMotion(textOf(report));
const expectColumns = ({columns}, found, names) =>
    found.forEach((column, i) => assert.deepEqual([...column], columns[names[i]], names[i]));
// Numbers that are only drawn agree to 4 um.
const expectPlaces = ({columns}, found, names) => found.forEach((column, i) => {
  assert.equal(column.length, columns[names[i]].length);
  column.forEach((value, s) => assert.ok(Math.abs(value - columns[names[i]][s]) < 4e-6, `${names[i]}: ${value}`));
});
const axes = (name, parts = ['x', 'y', 'z']) => parts.map((part) => `${name}_${part}`);

// Curves go to the ends of single precision.
const rough = [3.4e38, -3.4e38, 1e-45, 1.17549435e-38, 0.1];
let row = 0;
const extremes = (name, value) => {
  if (name === 'time') ++row;
  return name === 'HeadYaw_torque' ? rough[row % rough.length] : value;
};

test('bodies, joints and all numbers are those of module and file', async () => {
  const report = Report.inAir('wave', {change: extremes});
  const motion = await motionOf(report);
  const robot = JSON.parse(execFileSync(process.env.KORVEL_HOST, ['info', '--json'], {encoding: 'utf8'}));
  assert.deepEqual([...motion.time], report.columns.time);
  expectColumns(report, motion.com, axes('com'));
  assert.equal(Math.fround(motion.mass), Math.fround(robot.mass));
  assert.equal(motion.bodies.length, robot.bodies.length);
  robot.bodies.forEach(({name, parent, mass, origin_root}, b) => {
    const body = motion.bodies[b];
    assert.deepEqual([body.name, body.parent, Math.fround(body.mass)], [name, parent ?? -1, Math.fround(mass)]);
    body.rest.forEach((v, axis) => assert.ok(Math.abs(v - origin_root[axis]) < 1e-6));
    expectPlaces(report, body.origin, axes(name));
    if (body.com) expectPlaces(report, body.com, axes(`${name}_com`));
    assert.equal(Boolean(body.com), robot.bodies.every((child) => child.parent !== b), `${name} ends a limb`);
    assert.equal(body.side ?? 'middle', {L: 'left', R: 'right'}[name[0]] ?? 'middle', name);
    const joint = motion.joints.find(({body}) => body === b);
    if (b > 0) expectColumns(report, [joint.torque.values], [`${name}_torque`]);
  });
  assert.equal(motion.joints.length, robot.bodies.length - 1);
  assert.deepEqual(motion.limbs.map(({name}) => name), ['Head', 'Left arm', 'Right arm', 'Left leg', 'Right leg']);
  const side = {Left: 'L', Right: 'R', Head: 'Head'};
  for (const {name, joints} of motion.limbs) {
    for (const j of joints) assert.ok(motion.joints[j].name.startsWith(side[name.split(' ')[0]]), `${motion.joints[j].name} in ${name}`);
  }
  assert.equal(motion.ground, undefined);
});

test('of a run on the ground also what the ground does, and the curves of a second run', async () => {
  const other = Report.inAir('wave');
  const report = Report.of('weight_shift', {more: [other.file]});
  const {ground, bodies, joints, curves, other: second} = await motionOf(report);
  const {zmp, spans} = ground;
  expectPlaces(report, zmp, ['zmp_x', 'zmp_y']);
  expectColumns(report, [curves.get('zmp_margin').values], ['zmp_margin']);
  const unborne = spans.flatMap(({first, last}) => Array.from({length: last - first + 1}, (_, i) => first + i));
  assert.deepEqual(unborne, [...report.columns.feasible.keys()].filter((s) => report.columns.feasible[s] === 0));
  assert.deepEqual(ground.soles.map(({name}) => name), ['LAnkleRoll', 'RAnkleRoll']);
  for (const {name, body, force, contact, pressure, orientation, corners} of ground.soles) {
    assert.equal(bodies[body].name, name);
    expectColumns(report, [...force.map(({values}) => values), contact], [...axes(`${name}_force`), `${name}_contact`]);
    expectPlaces(report, pressure, axes(`${name}_cop`, ['x', 'y']));
    expectPlaces(report, orientation, axes(name, ['qw', 'qx', 'qy', 'qz']));
    assert.equal(corners.length, 4);
  }
  expectColumns(other, joints.map((joint) => joint.other.torque.values), joints.map(({name}) => `${name}_torque`));
  for (const {name, origin} of second.bodies) expectPlaces(other, origin, axes(name));
  assert.equal(second.ground, undefined);
});

// Everything that the page says of a run stands in the summary of the run, but for how the header begins and ends.
test('verdict, reasons, margins, friction and slip are in the words of the terminal', async () => {
  let reasons = 0;
  for (const name of ['squat', 'fast_step', 'weight_shift', 'slow_step']) {
    const report = Report.of(name);
    const motion = await motionOf(report);
    const {cannot_stand: intervals, verdict, tables, margins} = motion.ground.summary;
    const found = (text) => assert.ok(report.words.includes(inOneLine(text)), `${text} in ${report.words}`);
    found(verdict);
    for (const {from, to, text, missing} of intervals) {
      ++reasons;
      found(`${from.toFixed(3)} to ${to.toFixed(3)} s ${text}; ${(100 * missing.value).toFixed(1)} % of the weight unsupported at ${missing.time.toFixed(3)} s`);
    }
    const words = verdictText(motion);
    if (intervals.length > 0) {
      found(words.split(' at ')[0]);
    } else {
      const least = Math.min(...report.columns.zmp_margin);
      assert.ok(Math.abs(margins.zmp_inside.value - least) < 1e-6);
      assert.equal(words, `stays on its feet, ${Number((1000 * least).toPrecision(3))} mm of margin`);
    }
    for (const {heading, columns, rows} of tables) {
      found(heading + columns.map((column) => ` ${column} at [s]`).join(''));
      for (const {words, cells} of rows) found(`${words} ${cells.map((cell) => cell ? `${cell.value} ${cell.time.toFixed(3)}` : '-').join(' ')}`);
    }
    const [, torque, joint, time] = peakText(motion).match(/^largest torque (\S+) N m, (\w+) at (\S+)\u00a0s$/);
    const peak = Math.max(...motion.joints.flatMap(({name}) => report.columns[`${name}_torque`].map(Math.abs)));
    assert.equal(torque, String(Number(peak.toPrecision(3))));
    assert.equal(Math.abs(report.columns[`${joint}_torque`][report.columns.time.indexOf(Number(time))]), peak);
  }
  assert.ok(reasons > 3);
});

test('of a free fall the page says that the robot is in flight', async () => {
  const [header, first] = example('squat');
  const names = header.split(',');
  const start = first.split(',').map(Number);
  const row = (time) => names.map((name, i) => name === 'time' ? time : name === 'z' ? start[i] - 9.81 * time ** 2 / 2 : start[i]);
  const rows = Array.from({length: 21}, (_, s) => [...row(s / 100), 0, 0].join(','));
  const file = write('fall.csv', [`${header},LAnkleRoll_contact,RAnkleRoll_contact`, ...rows]);
  const motion = await motionOf(Report.of(file));
  assert.equal(verdictText(motion), 'is in flight throughout');
  assert.equal(motion.ground.summary.verdict, 'in flight throughout: no sole is near the ground\n');
});

// The exceeded limits follow from the columns, in single precision.
test('angles, speeds, powers and limits of joints, and the limits that the motion exceeds', async () => {
  for (const options of [[], ['--air']]) {
    const report = Report.withLimits('fast_step', options);
    const motion = await motionOf(report);
    const {columns} = report;
    const exceeded = [];
    for (const {name, ...joint} of motion.joints) {
      for (const kind of ['angle', 'speed', 'power']) expectColumns(report, [joint[kind].values], [`${name}_${kind}`]);
      const {lower, upper, speed, torque} = joint.limits;
      const isBeyond = {
        lower: (s) => columns[`${name}_angle`][s] < Math.fround(lower),
        upper: (s) => columns[`${name}_angle`][s] > Math.fround(upper),
        speed: (s) => Math.abs(columns[`${name}_speed`][s]) > Math.fround(speed),
        torque: (s) => Math.abs(columns[`${name}_torque`][s]) > Math.fround(torque),
      };
      for (const [limit, test] of Object.entries(isBeyond)) {
        const samples = [...columns.time.keys()].filter(test);
        if (samples.length > 0) exceeded.push([name, limit, samples.length, columns.time[samples[0]]]);
      }
    }
    assert.ok(exceeded.length > 0);
    const found = motion.limits.uses.filter(({samples}) => samples > 0).map(({joint, limit, samples, first}) => [joint, limit, samples, first]);
    assert.deepEqual(found, exceeded);
    const words = `exceeds limits: ${exceeded.length} of 96`;
    assert.ok(verdictText(motion).endsWith(`; ${words}`), verdictText(motion));
    assert.ok(report.words.includes(words));
  }
  const within = await motionOf(Report.withLimits('squat'));
  assert.match(verdictText(within), /^stays on its feet, .* mm of margin; stays within all 96 limits$/);
});

// One knee has spikes between the samples that are shown evenly, and two samples cannot be borne. The last sample is no
// extreme.
test('of a long motion some samples are shown, with the bounds of all', async () => {
  const count = 50000;
  const squat = Report.of('squat');
  const [header] = squat.results.split('\n');
  const names = header.split(',');
  const knee = names.indexOf('LKneePitch_torque');
  const spikes = new Map([[20001, 3.25], [43210, -7.5], [40002, 2]]);
  const unborne = [20001, 30002];
  const rows = Array.from({length: count}, (_, s) => names.map((name, i) => {
    if (i === knee) return spikes.get(s) ?? 0;
    return name === 'feasible' ? Number(!unborne.includes(s)) : i === 0 ? `176000${s.toString().padStart(5, '0')}.5` : 0;
  }).join(','));
  const run = {results: [header, ...rows].join('\n'), side: squat.side};
  const report = new Report('long.csv', run);
  assert.equal(textOf(report), textOf(new Report('long.csv', run)));
  const {samples, shown, stride, origin, time, drawnTime, joints, ground} = await motionOf(report);
  assert.deepEqual([samples, stride, origin, time.at(-1)], [count, 4, 17600000000.5, count - 1]);
  assert.equal(time.length, shown);
  const {peak, peakSample, torque: {values, drawn}} = joints.find(({name}) => name === 'LKneePitch');
  assert.deepEqual([peak, time[peakSample]], [7.5, 43210]);
  assert.equal(drawnTime.length, drawn.length);
  assert.ok(drawnTime.every((t, i) => i === 0 || t >= drawnTime[i - 1]));
  for (const [sample, torque] of spikes) {
    assert.equal(values[time.indexOf(sample)], torque === 2 ? undefined : torque);
    const places = [...drawn.keys()].filter((i) => drawn[i] === torque);
    assert.ok(places.every((i) => Math.abs(drawnTime[i] - sample) < 4) && places.length > 0);
  }
  const red = ground.spans.flatMap(({first, last}) => [...time.slice(first, last + 1)]);
  assert.deepEqual(red, [20000, 20001, 30000]);
});

// An hour at 100 Hz does not fit into a mail, a minute does.
test('a page of a minute at 100 Hz is below 3 MB', () => {
  const joints = ['LHipPitch', 'LKneePitch', 'LAnklePitch', 'RHipPitch', 'RKneePitch', 'RShoulderPitch'];
  const rows = Array.from({length: 6001}, (_, s) => [
    s / 100, 0.001 * s, ...joints.map((_, j) => (0.3 * Math.sin(0.03 * s + j) + 0.1 * Math.sin((0.07 + 0.01 * j) * s)).toFixed(6)),
  ].join(','));
  const {size} = statSync(Report.of(write('minute.csv', [`time,x,${joints.join(',')}`, ...rows])).page);
  assert.ok(size < 3e6, `${size} bytes`);
});
