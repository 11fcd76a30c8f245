// These functions draw spheres, rods, lines and the centre of mass in the world, z up, in metres. The name of a material
// is that of its colour in the style sheet.
import {BufferGeometry, CylinderGeometry, Float32BufferAttribute, Group, Line, LineBasicMaterial, Mesh,
  MeshBasicMaterial, RingGeometry, SphereGeometry, Vector3} from 'three';

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

// Drawn over whatever is in front of it.
export const overlay = (Material, name, more = {}) => new Material({name, depthTest: false, transparent: true, ...more});

export const positions = (points) => new Float32BufferAttribute(points.flat(), 3);

// A line through all points (x, y) of two columns, at a height.
export const trace = ([x, y], z, material) => new Line(
    new BufferGeometry().setAttribute(
        'position', positions(Array.from(x, (_, s) => [x[s], y[s], z]).filter((point) => point.every(Number.isFinite)))),
    material);

// The robot's centre of mass, its path on the ground, and the point below it.
export class Mass extends Group {
  constructor(motion) {
    super();
    const {com, floor: {z}} = motion;
    this.motion = motion;
    const solid = overlay(MeshBasicMaterial, 'com');
    this.drop = new Mesh(rod, solid);
    this.ring = new Mesh(new RingGeometry(0.018, 0.023, 40), solid);
    this.ball = sphere(solid, com_radius);
    this.add(trace(com, z, overlay(LineBasicMaterial, 'com', {opacity: 0.6})), this.drop, this.ring, this.ball);
    this.children.forEach((mesh, i) => mesh.renderOrder = 2 + i);
  }
  show(sample) {
    const {motion, ball, ring, drop} = this;
    at(motion.com, sample, ball.position);
    ring.position.copy(ball.position).setZ(motion.floor.z);
    span(drop, ring.position, ball.position, 0.002);
  }
}
