// The data of the page, which `korvel-host report` has written into it, and what follows from them.
import {unpack} from './columns.js';
import {spansOf} from './contact.js';
import {findLimbs} from './limbs.js';
import {extent, nearestSample, text} from './numbers.js';

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

// `origin` is what times are counted from, where they are large.
function readTimes({start, stride}, elapsed) {
  const origin = Math.abs(start) < far_from_zero ? 0 : start;
  const time = Float64Array.from(elapsed, (t) => start - origin + t);
  return {origin, time, drawnTime: drawnTime(time, stride)};
}

// The columns of the page: see report_data.h. A curve has its `values` at the samples and is `drawn` at
// motion.drawnTime; `lows` are the lowest on the way to the next sample.
async function readColumns({columns, curves, others, stride, time}) {
  const all = await unpack(columns, time.length);
  const between = stride > 1 ? 2 : 0;
  const first = (1 + between) * curves.length;
  const named = new Map(others.map((name, i) => [name, all[first + i]]));
  return {
    curve(name) {
      const index = curves.indexOf(name);
      const [values, ...bounds] = Array.from({length: 1 + between}, (_, i) => all[index + i * curves.length]);
      return {name, values, lows: bounds[0] ?? values, drawn: between ? drawn(Float32Array, values, ...bounds) : values};
    },
    column: (name) => named.get(name),
    // Returns the columns of a point or a rotation, or undefined if there are none.
    vector: (name, parts = axes) =>
        named.has(`${name}_${parts[0]}`) ? parts.map((part) => named.get(`${name}_${part}`)) : undefined,
  };
}

// Reads what the ground does: the curves and the contacts of each sole, and the spans of samples that cannot be borne.
function readGround(ground, bodies, {curve, column, vector}) {
  for (const sole of ground.soles) {
    const {name} = bodies[sole.body];
    const contact = column(`${name}_contact`);
    Object.assign(sole, {
      name,
      contact,
      force: axes.map((axis) => curve(`${name}_force_${axis}`)),
      spans: spansOf(contact, 1),
      pressure: vector(`${name}_cop`, ['x', 'y']),
      orientation: vector(name, ['qw', 'qx', 'qy', 'qz']),
    });
  }
  const spans = spansOf(curve('feasible').lows, 0);
  Object.assign(ground, {margin: curve('zmp_margin'), zmp: vector('zmp', ['x', 'y']), spans});
}

// Torque times speed, in single precision as in the file. Between the samples that the page has it is not known.
function powerOf({name, torque, speed}) {
  const values = torque.values.map((value, sample) => value * speed.values[sample]);
  const repeat = torque.drawn.length / values.length;
  return {name: `${name}_power`, values, drawn: repeat > 1 ? drawn(Float32Array, ...Array(repeat).fill(values)) : values};
}

// A run. Times and values are typed arrays, a number for each sample that the page has.
async function readRun(data) {
  const columns = await readColumns(data);
  Object.assign(data, readTimes(data, data.time), {shown: data.time.length, columns: null});
  data.comCurves = axes.map((axis) => columns.curve(`com_${axis}`));
  data.com = data.comCurves.map(({values}) => values);
  for (const joint of data.joints) {
    for (const kind of ['torque', 'angle', 'speed']) joint[kind] = columns.curve(`${joint.name}_${kind}`);
    joint.power = powerOf(joint);
    joint.peakSample = peakOf(joint.torque.values);
    joint.peak = Math.abs(joint.torque.values[joint.peakSample]) || 0;
    const limits = data.limits?.uses.filter((use) => use.joint === joint.name) ?? [];
    joint.limits = Object.fromEntries(limits.map(({limit, value}) => [limit, value]));
  }
  if (data.ground) readGround(data.ground, data.bodies, columns);
  for (const body of data.bodies) {
    body.origin = columns.vector(body.name) ?? data.bodies[body.parent].origin;
    body.com = columns.vector(`${body.name}_com`);
    body.applied = columns.vector(`${body.name}_applied_force`);
  }
  data.limbs = findLimbs(data.bodies, data.joints);
  for (const limb of data.limbs) {
    limb.joints.forEach((j, level) => Object.assign(data.joints[j], {limb, level}));
    limb.bodies.forEach((b) => data.bodies[b].side = limb.side);
  }
  return data;
}

// Joins the curves of a second run of the robot to those of the first.
function join(motion, other) {
  motion.joints.forEach((joint, j) => {
    joint.other = other.joints[j];
    for (const kind of Object.keys(kinds)) joint[kind].other = joint.other[kind];
  });
  motion.comCurves.forEach((curve, axis) => curve.other = other.comCurves[axis]);
  if (!motion.ground || !other.ground) return;
  motion.ground.margin.other = other.ground.margin;
  for (const {name, force} of motion.ground.soles) force[2].other = other.ground.soles.find((sole) => sole.name === name)?.force[2];
}

export async function readMotion(text) {
  const motion = await readRun(JSON.parse(text));
  motion.runs = [motion];
  if (motion.other) {
    join(motion, await readRun(motion.other));
    motion.runs.push(motion.other);
  }
  const sampleAt = (time) => nearestSample(motion.time, time - motion.origin);
  motion.gaps = (motion.gaps ?? []).map(({from, to, call}) => ({first: sampleAt(from), last: sampleAt(to), call}));
  const largest = Math.max(...motion.runs.flatMap(({joints}) => joints.map(({peak}) => peak)));
  for (const joint of motion.joints) joint.small = Math.max(joint.peak, joint.other?.peak ?? 0) < small * largest;
  motion.floor = findGround(motion.bodies, motion.ground?.height);
  return motion;
}
