// The data of the page, which `korvel-host report` has written into it, and what follows from them.
import {findLimbs} from './limbs.js';
import {text} from './numbers.js';

export function extent(columns) {
  let low = Infinity;
  let high = -Infinity;
  for (const column of columns) {
    for (const value of column) {
      if (value < low) low = value;
      if (value > high) high = value;
    }
  }
  return [low, high];
}

// The sample of the largest magnitude.
function peakOf(torque) {
  let peak = 0;
  torque.forEach((value, sample) => {
    if (Math.abs(value) > Math.abs(torque[peak])) peak = sample;
  });
  return peak;
}

// The ground is z = 0 of the world where the lowest point of the motion is near it; a motion whose root is given about
// the origin has its feet below. Bodies are points, so that a foot on the ground is a few centimetres above it.
function findGround(bodies) {
  const [lowest, highest] = extent(bodies.flatMap(({origin, com}) => [origin[2], com[2]]));
  const size = highest - lowest;
  if (lowest > -0.05 * size && lowest < 0.25 * size) return {z: 0, text: 'The ground is z = 0 of the world.'};
  return {
    z: lowest,
    text: `The ground is drawn at the lowest point of the motion, z = ${
        text(lowest, 3)} m: z = 0 of the world is ${lowest < 0 ? 'above' : 'far below'} the feet.`,
  };
}

export function readMotion(text) {
  const motion = JSON.parse(text);
  const limbs = findLimbs(motion.bodies, motion.joints);
  for (const limb of limbs) {
    limb.joints.forEach((j, level) => Object.assign(motion.joints[j], {limb, level}));
    limb.bodies.forEach((b) => motion.bodies[b].side = limb.side);
  }
  for (const joint of motion.joints) {
    joint.peakSample = peakOf(joint.torque);
    joint.peak = Math.abs(joint.torque[joint.peakSample]);
  }
  return {...motion, limbs, ground: findGround(motion.bodies)};
}
