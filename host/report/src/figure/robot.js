// A robot as its results give it: the origins of the bodies, the centres of mass at the ends of its limbs, the orientation
// of its soles, and the angles of its neck. Its shape follows from the pose at rest.
import {BoxGeometry, Group, Matrix4, Mesh, MeshBasicMaterial, MeshLambertMaterial, Quaternion, SphereGeometry,
  Vector3} from 'three';
import {ConvexGeometry} from 'three/examples/jsm/geometries/ConvexGeometry.js';
import {extent} from '../data/numbers.js';
import {at, overlay, rod, span, sphere, y_axis} from './scene.js';

const slimness = 0.17;  // of a limb: its radius by its longest part
const thinnest = 0.004;
const thickest = 0.025;
const sole_height = 0.018;
const face = new SphereGeometry(1, 40, 28);
const box = new BoxGeometry(1, 1, 1);

function block(geometry, material, centre, size) {
  const mesh = new Mesh(geometry, material);
  mesh.position.set(...centre);
  mesh.scale.set(...size);
  return mesh;
}

// Two directions as the axes of a frame.
const frame = (a, b) => {
  const z = a.clone().cross(b).normalize();
  return new Matrix4().makeBasis(a.clone().normalize(), z.clone().cross(a).normalize(), z);
};

// The two children of the root that are seen from it in the most different directions turn with it.
function fixedPair(bodies) {
  const fixed = bodies.filter(({parent}) => parent === 0).map((body) => ({body, rest: new Vector3(...body.rest)}));
  const pairs = fixed.flatMap((a, i) => fixed.slice(i + 1).map((b) => ({a, b, area: a.rest.clone().cross(b.rest).length()})));
  return pairs.reduce((most, pair) => pair.area > (most?.area ?? 1e-6) ? pair : most, null);
}

// A prism over the corners of a sole, in the axes of its body, towards the body's origin.
function plate(corners) {
  const bottom = corners.map((corner) => new Vector3(...corner));
  const centre = bottom.reduce((sum, corner) => sum.add(corner), new Vector3()).divideScalar(bottom.length);
  const up = bottom[1].clone().sub(bottom[0]).cross(bottom[2].clone().sub(bottom[0])).normalize();
  up.multiplyScalar(up.dot(centre) > 0 ? -sole_height : sole_height);
  const top = bottom.map((corner) => corner.clone().lerp(centre, 0.12).add(up));
  return {geometry: new ConvexGeometry([...bottom, ...top]), centre};
}

export class Robot extends Group {
  constructor(run, ghost = false) {
    super();
    Object.assign(this, {run, ghost, pair: fixedPair(run.bodies)});
    const more = ghost ? {transparent: true, opacity: 0.28, depthWrite: false} : {};
    const names = {left: 'side-left', right: 'side-right', middle: 'side-middle', face: 'ink'};
    this.materials = Object.fromEntries(Object.entries(names).map(
        ([part, name]) => [part, new MeshLambertMaterial({name: ghost ? 'ghost' : name, ...more})]));
    this.limbs = run.limbs.map((limb) => this.#limb(limb));
    this.torso = this.add(new Group()).children.at(-1);
    this.#addTorso();
    this.head = this.#makeHead(run.limbs.find(({side, height}) => side === 'middle' && height > 0));
    this.plates = run.ground?.soles.map((sole) => this.#plate(sole));
    // A halo about the selected joint has the colour of its curve.
    this.halo = sphere(overlay(MeshBasicMaterial, '', {opacity: 0.4}), 0.026);
    this.halo.renderOrder = 1;
    if (!ghost) this.add(this.halo);
  }

  // Rods from joint to joint, and to the centre of mass of the last body; balls in the joints.
  #limb({bodies: indexes, side}) {
    const {bodies} = this.run;
    const material = this.materials[side];
    const rest = (b) => new Vector3(...bodies[b].rest);
    const lengths = indexes.slice(1).map((b) => rest(b).distanceTo(rest(bodies[b].parent)));
    const radius = Math.min(Math.max(slimness * Math.max(0, ...lengths), thinnest), thickest);
    const parts = indexes.map((b) => {
      const ends = bodies.flatMap((child, c) => child.parent === b ? [child.origin] : []);
      if (ends.length === 0) ends.push(bodies[b].com);
      const ball = sphere(material, radius);
      const rods = ends.map(() => new Mesh(rod, material));
      const tip = bodies[b].com ? sphere(material, 1.15 * radius) : null;
      // Through a ghost one would see the balls in the rods.
      this.add(...(this.ghost ? [] : [ball]), ...rods, ...(tip ? [tip] : []));
      return {body: bodies[b], ball, rods, ends, tip};
    });
    return {radius, parts};
  }

  // The chest from the hips' height to the shoulders' and the pelvis below it, in the root's axes.
  #addTorso() {
    const {bodies} = this.run;
    const fixed = bodies.filter(({parent}) => parent === 0).map(({rest}) => rest);
    const [low, high] = extent([[...fixed.filter(([, y]) => y !== 0).map(([, , z]) => z), 0]]);
    const width = (z) => Math.max(0, ...fixed.filter((rest) => rest[2] * z > 0).map(([, y]) => Math.abs(y)));
    const [{middle, face: mark}, shoulders, hips] = [this.materials, width(1), width(-1)];
    const waist = 0.35 * low;
    const size = 0.8 * Math.max(shoulders, hips, high - low);
    const wide = 2 * Math.max(0.8 * shoulders, 0.2 * size);
    this.torso.add(block(box, middle, [0, 0, (high + 0.012 + waist) / 2], [0.6 * size, wide, high + 0.012 - waist]));
    // A plate on the chest is in front.
    this.torso.add(block(box, mark, [0.3 * size, 0, 0.6 * high], [0.02 * size, 0.45 * wide, 0.35 * high]));
    if (hips > 0) this.torso.add(block(box, middle, [0, 0, 0.95 * low], [0.45 * size, 2 * hips, -0.8 * low]));
    for (const [, y, z] of fixed.filter((rest) => rest[1] === 0 && rest[2] > high)) {
      this.torso.add(block(rod, middle, [0, y, (z + high) / 2], [0.25 * size, z - high, 0.25 * size]));
      this.torso.children.at(-1).quaternion.setFromUnitVectors(y_axis, new Vector3(0, 0, 1));
    }
  }

  // A head with eyes in front, about the centre of mass of the last body of its limb.
  #makeHead(limb) {
    if (!limb) return null;
    const {run: {bodies, joints}, materials: {middle, face: mark}} = this;
    const body = bodies[limb.bodies.at(-1)];
    const sample = Math.max(body.com[0].findIndex((x, s) => Number.isFinite(x + body.origin[0][s])), 0);
    const size = Math.max(0.9 * at(body.com, sample).distanceTo(at(body.origin, sample)), 2 * thinnest);
    const head = new Group();
    head.add(block(face, middle, [0, 0, 0], [size, 0.95 * size, size]));
    head.add(block(box, mark, [0.86 * size, 0, -0.42 * size], [0.2 * size, 0.5 * size, 0.09 * size]));
    for (const y of [-0.38, 0.38]) head.add(block(face, mark, [0.84 * size, y * size, 0.2 * size], [0.2 * size, 0.19 * size, 0.19 * size]));
    this.add(head);
    // About its axes the joints turn it in the root, from the root outwards.
    const turns = limb.joints.map((j) => ({axis: new Vector3(...bodies[joints[j].body].axis), angle: joints[j].angle.values}));
    return {group: head, body, turns};
  }

  #plate({body: b, corners}) {
    const {run: {bodies}, materials} = this;
    const body = bodies[b];
    const {geometry, centre} = plate(corners);
    const mesh = new Mesh(geometry, materials[body.side]);
    const {radius} = this.limbs[this.run.limbs.findIndex(({bodies}) => bodies.includes(b))];
    const ankle = new Mesh(rod, materials[body.side]);
    this.add(mesh, ankle);
    return {mesh, ankle, centre, body, radius};
  }

  // The orientation of the root in the world.
  #rootTurn(sample) {
    if (!this.pair) return new Quaternion();
    const {a, b} = this.pair;
    const origin = at(this.run.bodies[0].origin, sample);
    const [now_a, now_b] = [a, b].map(({body}) => at(body.origin, sample).sub(origin));
    return new Quaternion().setFromRotationMatrix(frame(now_a, now_b).multiply(frame(a.rest, b.rest).transpose()));
  }

  show(sample, joint) {
    const {run} = this;
    for (const {radius, parts} of this.limbs) {
      for (const {body, ball, rods, ends, tip} of parts) {
        const origin = at(body.origin, sample, ball.position);
        ends.forEach((end, i) => span(rods[i], origin, at(end, sample), radius));
        if (tip) at(body.com, sample, tip.position);
      }
    }
    at(run.bodies[0].origin, sample, this.torso.position);
    this.torso.quaternion.copy(this.#rootTurn(sample));
    if (this.head) {
      const {group, body, turns} = this.head;
      at(body.com, sample, group.position);
      group.quaternion.copy(this.torso.quaternion);
      for (const {axis, angle} of turns) group.quaternion.multiply(new Quaternion().setFromAxisAngle(axis, angle[sample]));
    }
    run.ground?.soles.forEach(({orientation: [w, x, y, z]}, i) => {
      const {mesh, ankle, centre, body, radius} = this.plates[i];
      at(body.origin, sample, mesh.position);
      mesh.quaternion.set(x[sample], y[sample], z[sample], w[sample]);
      span(ankle, mesh.position, centre.clone().applyQuaternion(mesh.quaternion).lerp(new Vector3(), 0.2).add(mesh.position), radius);
    });
    at(run.bodies[run.joints[joint].body].origin, sample, this.halo.position);
  }
}
