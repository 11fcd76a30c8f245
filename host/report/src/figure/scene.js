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
import {colour, curveName} from '../colours.js';

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

export const positions = (points) => new Float32BufferAttribute(points.flat(), 3);

// A line through all points (x, y) of two columns, at a height.
export const trace = ([x, y], z, material) => new Line(
    new BufferGeometry().setAttribute(
        'position', positions(Array.from(x, (_, s) => [x[s], y[s], z]).filter((point) => point.every(Number.isFinite)))),
    material);

export class Robot extends Group {
  constructor(motion) {
    super();
    this.motion = motion;
    const {bodies, com, ground: {z}} = motion;
    this.bodies = bodies.map((body, b) => new Body(body, bodies.filter(({parent}) => parent === b)));
    this.halo = sphere(overlay(MeshBasicMaterial, {opacity: 0.35}), 0.026);
    this.halo.renderOrder = 1;
    // The robot's centre of mass, what it leaves on the ground, and where it stands over it.
    this.solid = overlay(MeshBasicMaterial);
    this.line = overlay(LineBasicMaterial, {opacity: 0.6});
    this.com = {
      path: trace(com, z, this.line),
      drop: new Mesh(rod, this.solid),
      ring: new Mesh(new RingGeometry(0.018, 0.023, 40), this.solid),
      ball: sphere(this.solid, com_radius),
    };
    Object.values(this.com).forEach((mesh, i) => mesh.renderOrder = 2 + i);
    this.add(...this.bodies.flatMap(({meshes}) => meshes), this.halo, ...Object.values(this.com));
  }

  show(sample, joint) {
    const {motion, com: {ball, ring, drop}} = this;
    this.bodies.forEach((body) => body.show(sample));
    at(motion.bodies[motion.joints[joint].body].origin, sample, this.halo.position);
    at(motion.com, sample, ball.position);
    ring.position.copy(ball.position).setZ(motion.ground.z);
    span(drop, ring.position, ball.position, 0.002);
  }

  // The body that the selected joint turns has the colour of the joint's curve.
  recolour(joint) {
    for (const {material, side} of this.bodies) material.color.set(colour(`side-${side}`));
    const {body, level} = this.motion.joints[joint];
    for (const {material} of [this.bodies[body], this.halo]) material.color.set(colour(curveName(level)));
    for (const material of [this.solid, this.line]) material.color.set(colour('com'));
  }
}
