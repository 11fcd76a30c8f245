// The bodies in the world, z up, in metres: a sphere at each centre of mass, rods between the joints.
import {
  BufferGeometry,
  CylinderGeometry,
  Float32BufferAttribute,
  Group,
  Line,
  LineBasicMaterial,
  Mesh,
  MeshBasicMaterial,
  MeshLambertMaterial,
  RingGeometry,
  SphereGeometry,
  Vector3,
} from 'three';
import {colour, curveColour} from '../colours.js';

const density = 3000;  // kg/m^3, of the spheres
const rod_radius = 0.009;
const com_radius = 0.013;
const shortest_rod = 1e-4;

const ball = new SphereGeometry(1, 32, 24);
export const rod = new CylinderGeometry(1, 1, 1, 16);
export const y_axis = new Vector3(0, 1, 0);

export const at = (columns, sample, point = new Vector3()) => point.set(...columns.map((column) => column[sample]));

export function sphere(material, radius) {
  const mesh = new Mesh(ball, material);
  mesh.scale.setScalar(radius);
  return mesh;
}

// Puts a rod of unit height between two points.
export function span(mesh, from, to, radius) {
  const along = to.clone().sub(from);
  const length = along.length();
  mesh.visible = length > shortest_rod;
  if (!mesh.visible) return;
  mesh.position.copy(from).addScaledVector(along, 0.5);
  mesh.quaternion.setFromUnitVectors(y_axis, along.divideScalar(length));
  mesh.scale.set(radius, length, radius);
}

// The two ends of a rod as it is drawn, the first where it was put from; null where it is too short for one.
const ends = (mesh) =>
    mesh.visible ? [-0.5, 0.5].map((y) => mesh.localToWorld(new Vector3(0, y, 0)).toArray()) : null;

// What moves with one joint: the body's sphere, the rod to it, and the rods to its children's joints.
class Body {
  constructor(description, children) {
    this.description = description;
    this.children = children;
    this.side = description.side ?? 'middle';
    this.material = new MeshLambertMaterial();
    this.sphere = sphere(this.material, Math.cbrt((3 * description.mass) / (4 * Math.PI * density)));
    this.rods = [description, ...children].map(() => new Mesh(rod, this.material));
    this.meshes = [this.sphere, ...this.rods];
  }
  show(sample) {
    const origin = at(this.description.origin, sample);
    at(this.description.com, sample, this.sphere.position);
    [this.sphere.position, ...this.children.map((child) => at(child.origin, sample))].forEach(
        (end, i) => span(this.rods[i], origin, end, rod_radius));
  }
}

// Drawn over whatever is in front of it.
export const overlay = (Material, more = {}) => new Material({depthTest: false, transparent: true, ...more});

// The robot's centre of mass, what it leaves on the ground, and where it stands over it.
class CentreOfMass {
  constructor(motion) {
    this.motion = motion;
    this.solid = overlay(MeshBasicMaterial);
    this.line = overlay(LineBasicMaterial, {opacity: 0.6});
    const [x, y] = motion.com;
    const path = Array.from(x, (_, s) => [x[s], y[s], 0]).flat();
    this.ball = sphere(this.solid, com_radius);
    this.drop = new Mesh(rod, this.solid);
    this.ring = new Mesh(new RingGeometry(0.018, 0.023, 40), this.solid);
    this.path = new Line(new BufferGeometry().setAttribute('position', new Float32BufferAttribute(path, 3)), this.line);
    this.path.position.z = motion.ground.z;
    this.meshes = [this.path, this.drop, this.ring, this.ball];
    this.meshes.forEach((mesh, i) => mesh.renderOrder = 2 + i);
  }
  show(sample) {
    at(this.motion.com, sample, this.ball.position);
    this.ring.position.copy(this.ball.position).setZ(this.motion.ground.z);
    span(this.drop, this.ring.position, this.ball.position, 0.002);
  }
  recolour() {
    this.solid.color.set(colour('com'));
    this.line.color.set(colour('com'));
  }
}

export class Robot extends Group {
  constructor(motion) {
    super();
    this.motion = motion;
    const {bodies} = motion;
    this.bodies = bodies.map((body, b) => new Body(body, bodies.filter(({parent}) => parent === b)));
    this.com = new CentreOfMass(motion);
    this.halo = sphere(overlay(MeshBasicMaterial, {opacity: 0.35}), 0.026);
    this.halo.renderOrder = 1;
    this.add(...this.bodies.flatMap(({meshes}) => meshes), this.halo, ...this.com.meshes);
  }

  show(sample, joint) {
    this.bodies.forEach((body) => body.show(sample));
    at(this.motion.bodies[this.motion.joints[joint].body].origin, sample, this.halo.position);
    this.com.show(sample);
  }

  // Where things are drawn, for each body: the centre of its sphere; its rods, to its centre of mass and to its children.
  spheres() {
    return this.bodies.map(({sphere}) => sphere.position.toArray());
  }
  rods() {
    return this.bodies.map(({rods}) => rods.map(ends));
  }
  // Its ball, its ring on the ground and the rod between them.
  centreOfMass() {
    const {ball, ring, drop} = this.com;
    return {ball: ball.position.toArray(), ring: ring.position.toArray(), drop: ends(drop)};
  }

  // The body that the selected joint turns has the colour of the joint's curve.
  recolour(joint) {
    for (const {material, side} of this.bodies) material.color.set(colour(`side-${side}`));
    const {body, level} = this.motion.joints[joint];
    for (const {material} of [this.bodies[body], this.halo]) material.color.set(curveColour(level));
    this.com.recolour();
  }
}
