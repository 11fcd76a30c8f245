// Draws what the ground does to the robot: the support polygon, the forces on the soles, the zero moment point and its
// trace.
import {BufferGeometry, DoubleSide, Group, LineBasicMaterial, Mesh, MeshBasicMaterial, Vector3} from 'three';
import {forceAt, supportPolygon} from '../data/contact.js';
import {Arrow} from './forces.js';
import {overlay, positions, sphere, trace} from './scene.js';

export class Feet extends Group {
  constructor(motion) {
    super();
    const {bodies, ground: {soles, zmp}, floor: {z}} = motion;
    Object.assign(this, {motion, z});
    const area = new MeshBasicMaterial({name: 'support', transparent: true, opacity: 0.22, side: DoubleSide, depthWrite: false});
    this.polygon = new Mesh(new BufferGeometry(), area);
    // Three.js would cull by the bounds of the first sample, but the polygon moves.
    this.polygon.frustumCulled = false;
    this.point = sphere(overlay(MeshBasicMaterial, 'zmp'), 0.011);
    this.add(this.polygon, trace(zmp, z, overlay(LineBasicMaterial, 'zmp', {opacity: 0.6})), this.point);
    this.children.forEach((mesh, i) => mesh.renderOrder = 1 + 0.1 * i);
    this.arrows = soles.map(({body}) => new Arrow(`side-${bodies[body].side}`));
    this.add(...this.arrows.flatMap(({meshes}) => meshes));
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
      this.arrows[i].show(pressure, new Vector3(...forceAt(sole, sample)).divideScalar(motion.weight));
    });
  }
}
