// What the ground does to the robot: what its soles span, the forces on them, the zero moment point and its trace.
import {BufferGeometry, ConeGeometry, DoubleSide, Group, LineBasicMaterial, Mesh, MeshBasicMaterial, Vector3} from 'three';
import {colour} from '../colours.js';
import {forceAt, supportPolygon} from '../data/contact.js';
import {overlay, positions, rod, span, sphere, trace, y_axis} from './scene.js';

const weight_length = 0.25;  // m, of an arrow as strong as the robot's weight
const least_share = 0.005;  // of the weight: weaker forces have no arrow
const radius = 0.005;
const head = new ConeGeometry(1, 1, 20).translate(0, -0.5, 0);  // its tip at the origin
const head_length = 0.025;

class Arrow {
  constructor() {
    this.material = overlay(MeshBasicMaterial);
    this.shaft = new Mesh(rod, this.material);
    this.tip = new Mesh(head, this.material);
    this.meshes = [this.shaft, this.tip];
    for (const mesh of this.meshes) mesh.renderOrder = 7;
  }
  // Null for none.
  show(ends) {
    for (const mesh of this.meshes) mesh.visible = ends !== null;
    if (!ends) return;
    const [from, to] = ends;
    const along = to.clone().sub(from);
    const length = Math.min(head_length, along.length() / 2);
    span(this.shaft, from, to.clone().addScaledVector(along.normalize(), -length), radius);
    this.tip.position.copy(to);
    this.tip.quaternion.setFromUnitVectors(y_axis, along);
    this.tip.scale.set(2.4 * radius, length, 2.4 * radius);
  }
}

export class Feet extends Group {
  constructor(motion) {
    super();
    const {standing: {soles, zmp}, floor: {z}, weight} = motion;
    Object.assign(this, {motion, z, weight});
    this.line = overlay(LineBasicMaterial, {opacity: 0.6});
    this.trace = trace(zmp, z, this.line);
    this.solid = overlay(MeshBasicMaterial);
    this.point = sphere(this.solid, 0.011);
    this.area = new MeshBasicMaterial({transparent: true, opacity: 0.22, side: DoubleSide, depthWrite: false});
    this.polygon = new Mesh(new BufferGeometry(), this.area);
    this.arrows = soles.map(() => new Arrow());
    [this.polygon, this.trace, this.point].forEach((mesh, i) => mesh.renderOrder = 1 + 0.1 * i);
    this.add(this.polygon, this.trace, this.point, ...this.arrows.flatMap(({meshes}) => meshes));
    // What moves is seldom where it was when its bounds were found.
    for (const mesh of [this.polygon, this.trace]) mesh.frustumCulled = false;
  }

  show(sample) {
    const {motion, z} = this;
    const {soles, zmp} = motion.standing;
    this.point.position.set(zmp[0][sample], zmp[1][sample], z);
    const polygon = supportPolygon(motion, sample).map((corner) => [...corner, z]);
    const fan = polygon.slice(2).map((corner, i) => [polygon[0], polygon[i + 1], corner].flat());
    this.polygon.geometry.setAttribute('position', positions(fan));
    soles.forEach((sole, i) => this.arrows[i].show(this.#ends(sole, sample)));
  }
  #ends(sole, sample) {
    const force = new Vector3(...forceAt(sole, sample)).divideScalar(this.weight);
    if (force.length() < least_share) return null;
    const from = new Vector3(...sole.pressure.map((column) => column[sample]), this.z);
    return [from, from.clone().addScaledVector(force, weight_length)];
  }

  recolour() {
    for (const material of [this.solid, this.line]) material.color.set(colour('zmp'));
    this.area.color.set(colour('support'));
    this.motion.standing.soles.forEach(
        ({body}, i) => this.arrows[i].material.color.set(colour(`side-${this.motion.bodies[body].side}`)));
  }
}
