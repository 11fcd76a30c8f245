// The data of the page, which `korvel-host report` has written into it, and what follows from them.
import {unpack} from './columns.js';
import {findLimbs} from './limbs.js';
import {extent, nearestSample, spansOf, text} from './numbers.js';

const far_from_zero = 1e4;  // s: times of clocks, not of motions
const small = 0.01;         // joints below this share of the largest torque are folded away

const axes = ['x', 'y', 'z'];

// The curves of a joint, with their units.
export const kinds = {torque: 'N m', angle: 'rad', speed: 'rad/s', power: 'W'};

// The sample of the largest magnitude; a gap has none.
function peakOf(torque) {
  let peak = 0;
  torque.forEach((value, sample) => {
    if (Math.abs(value) > (Math.abs(torque[peak]) || 0)) peak = sample;
  });
  return peak;
}

// The ground is z = 0 of the world where the lowest point of the motion is near it; a motion whose root is given about
// the origin has its feet below. Bodies are points, so that a foot on the ground is a few centimetres above it.
function findGround(bodies, height) {
  if (height !== undefined) return {z: height, text: `The ground is z = ${height} m of the world.`};
  const [lowest, highest] = extent(bodies.flatMap(({origin, com}) => com ? [origin[2], com[2]] : [origin[2]]));
  const size = highest - lowest;
  if (lowest > -0.05 * size && lowest < 0.25 * size) return {z: 0, text: 'The ground is z = 0 of the world.'};
  return {
    z: lowest,
    text: `The ground is drawn at the lowest point of the motion, z = ${
        text(lowest, 3)} m: z = 0 of the world is ${lowest < 0 ? 'above' : 'far below'} the feet.`,
  };
}

// If samples are left out, a curve is drawn from each that is shown through the lowest and the highest value on the way
// to the next. The drawn values are the first number of each series, then the second of each, and so on.
function drawn(Type, ...series) {
  const all = new Type(series.length * series[0].length);
  series.forEach((values, s) => values.forEach((value, i) => all[series.length * i + s] = value));
  return all;
}
function drawnTime(time, stride) {
  if (stride === 1) return time;
  const between = (share) => time.map((t, i) => t + share * ((time[i + 1] ?? t) - t));
  return drawn(Float64Array, time, between(1 / 3), between(2 / 3));
}

// The columns of the page by name: see report_data.h. A curve has its `values` at the samples and is `drawn` at
// motion.drawnTime; `lows` are the lowest on the way to the next sample.
async function readColumns({columns, curves, others, stride, time}) {
  const all = await unpack(columns, time.length);
  const series = stride > 1 ? 3 : 1;  // the values, and the lowest and the highest
  const curve = (name, i) => {
    const parts = Array.from({length: series}, (_, s) => all[i + s * curves.length]);
    return {name, values: parts[0], lows: parts[1] ?? parts[0], drawn: drawn(Float32Array, ...parts)};
  };
  return {
    curves: new Map(curves.map((name, i) => [name, curve(name, i)])),
    others: new Map(others.map((name, i) => [name, all[series * curves.length + i]])),
  };
}

// Torque times speed, in single precision as in the file. Between the samples that the page has it is not known.
function powerOf({name, torque, speed}) {
  const values = torque.values.map((value, sample) => value * speed.values[sample]);
  const series = torque.drawn.length / values.length;
  return {name: `${name}_power`, values, drawn: drawn(Float32Array, ...Array(series).fill(values))};
}

// A run. Times and values are typed arrays, a number for each sample that the page has.
async function readRun(data) {
  const {curves, others} = await readColumns(data);
  const points = (name, parts) => parts.map((part) => others.get(`${name}_${part}`));
  const {start, stride, bodies, joints, ground} = data;
  // Times are counted from here, where they are large.
  const origin = Math.abs(start) < far_from_zero ? 0 : start;
  const time = Float64Array.from(data.time, (t) => start - origin + t);
  Object.assign(data, {origin, time, curves, shown: time.length, drawnTime: drawnTime(time, stride)});
  data.com = axes.map((axis) => curves.get(`com_${axis}`).values);
  for (const joint of joints) {
    for (const kind of ['torque', 'angle', 'speed']) joint[kind] = curves.get(`${joint.name}_${kind}`);
    joint.power = powerOf(joint);
    curves.set(joint.power.name, joint.power);
    joint.peakSample = peakOf(joint.torque.values);
    joint.peak = Math.abs(joint.torque.values[joint.peakSample]) || 0;
    const limits = data.limits?.uses.filter((use) => use.joint === joint.name) ?? [];
    joint.limits = Object.fromEntries(limits.map(({limit, value}) => [limit, value]));
  }
  for (const body of bodies) {
    const {name, parent} = body;
    body.origin = others.has(`${name}_x`) ? points(name, axes) : bodies[parent].origin;
    for (const kind of ['com', 'applied_force']) {
      if (others.has(`${name}_${kind}_x`)) body[kind] = points(`${name}_${kind}`, axes);
    }
  }
  for (const sole of ground?.soles ?? []) {
    const {name} = bodies[sole.body];
    const contact = others.get(`${name}_contact`);
    const force = axes.map((axis) => curves.get(`${name}_force_${axis}`));
    const orientation = points(name, ['qw', 'qx', 'qy', 'qz']);
    Object.assign(sole, {name, contact, force, orientation, spans: spansOf(contact, 1), pressure: points(`${name}_cop`, ['x', 'y'])});
  }
  // The samples that the ground cannot support.
  if (ground) Object.assign(ground, {zmp: points('zmp', ['x', 'y']), spans: spansOf(curves.get('feasible').lows, 0)});
  data.limbs = findLimbs(bodies, joints);
  for (const limb of data.limbs) {
    limb.joints.forEach((j, level) => joints[j].level = level);
    limb.bodies.forEach((b) => bodies[b].side = limb.side);
  }
  return data;
}

export async function readMotion(text) {
  const motion = await readRun(JSON.parse(text));
  motion.runs = [motion];
  if (motion.other) {
    const other = await readRun(motion.other);
    motion.runs.push(other);
    for (const [name, curve] of motion.curves) curve.other = other.curves.get(name);
    motion.joints.forEach((joint, j) => joint.other = other.joints[j]);
  }
  const sampleAt = (time) => nearestSample(motion.time, time - motion.origin);
  motion.gaps = (motion.gaps ?? []).map(({from, to, call}) => ({first: sampleAt(from), last: sampleAt(to), call}));
  const largest = Math.max(...motion.runs.flatMap(({joints}) => joints.map(({peak}) => peak)));
  for (const joint of motion.joints) joint.small = Math.max(joint.peak, joint.other?.peak ?? 0) < small * largest;
  motion.floor = findGround(motion.bodies, motion.ground?.height);
  return motion;
}
