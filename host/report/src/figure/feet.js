// Draws what the ground does to the robot: the support polygon, the forces on the soles, the zero moment point and its
// trace.
import {BufferGeometry, DoubleSide, Group, LineBasicMaterial, Mesh, MeshBasicMaterial, Vector3} from 'three';
import {colour} from '../colours.js';
import {forceAt, supportPolygon} from '../data/contact.js';
import {Arrow} from './forces.js';
import {overlay, positions, sphere, trace} from './scene.js';

export class Feet extends Group {
  constructor(motion) {
    super();
    const {ground: {soles, zmp}, floor: {z}, weight} = motion;
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
    // Three.js would cull by the bounds of the first sample, but these move.
    for (const mesh of [this.polygon, this.trace]) mesh.frustumCulled = false;
  }

  show(sample) {
    const {motion, z} = this;
    const {soles, zmp} = motion.ground;
    this.point.position.set(zmp[0][sample], zmp[1][sample], z);
    const polygon = supportPolygon(motion, sample).map((corner) => [...corner, z]);
    const fan = polygon.slice(2).map((corner, i) => [polygon[0], polygon[i + 1], corner].flat());
    this.polygon.geometry.setAttribute('position', positions(fan));
    soles.forEach((sole, i) => {
      const pressure = new Vector3(...sole.pressure.map((column) => column[sample]), z);
      this.arrows[i].show(pressure, new Vector3(...forceAt(sole, sample)).divideScalar(this.weight));
    });
  }

  recolour() {
    for (const material of [this.solid, this.line]) material.color.set(colour('zmp'));
    this.area.color.set(colour('support'));
    this.motion.ground.soles.forEach(
        ({body}, i) => this.arrows[i].material.color.set(colour(`side-${this.motion.bodies[body].side}`)));
  }
}
