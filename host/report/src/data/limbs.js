// The limbs of a robot, from its tree of bodies alone: what hangs on the root, each branch by itself.

const word = (side, above) => side === 'middle' ? (above ? 'Head' : 'Tail') : `${side === 'left' ? 'Left' : 'Right'} ${
    above ? 'arm' : 'leg'}`;

// `bodies` with parents before their children; `rest` is in the root: x forward, y left, z up.
// A limb has a `name`, a `side`, its `bodies` and `joints` from the root outwards. Sorted as one reads a body facing
// away: from the top down, left before right.
export function findLimbs(bodies, joints) {
  const limbOf = [];
  const limbs = [];
  bodies.forEach(({parent}, b) => {
    if (parent < 0) return;
    limbOf[b] = limbOf[parent] ?? limbs.push({bodies: [], joints: []}) - 1;
    limbs[limbOf[b]].bodies.push(b);
  });
  joints.forEach(({body}, j) => limbs[limbOf[body]].joints.push(j));

  const reach = Math.max(...bodies.flatMap(({rest}) => rest.map(Math.abs)));
  for (const limb of limbs) {
    const {rest} = bodies[limb.bodies[0]];
    const y = limb.bodies.reduce((sum, b) => sum + bodies[b].rest[1], 0) / limb.bodies.length;
    limb.side = Math.abs(y) < 0.02 * reach ? 'middle' : y > 0 ? 'left' : 'right';
    limb.height = rest[2];
    limb.name = word(limb.side, limb.height > 0);
  }
  for (const limb of limbs) {
    const alike = limbs.filter(({name}) => name === limb.name);
    if (alike.length > 1) alike.forEach((one) => one.name += ` of ${bodies[one.bodies[0]].name}`);
  }
  const order = ['middle', 'left', 'right'];
  return limbs.sort((a, b) => b.height - a.height || order.indexOf(a.side) - order.indexOf(b.side));
}
