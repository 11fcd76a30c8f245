// Forces as arrows, and those that a recorded program set on bodies, apart from the forces of the ground.
import {ConeGeometry, Group, Mesh, MeshBasicMaterial} from 'three';
import {at, overlay, rod, span, y_axis} from './scene.js';

const weight_length = 0.25;  // m, of an arrow as strong as the robot's weight
const least_share = 0.005;  // of the weight: weaker forces have no arrow
const radius = 0.005;
const head = new ConeGeometry(1, 1, 20).translate(0, -0.5, 0);  // its tip at the origin
const head_length = 0.025;

export class Arrow {
  constructor(colour) {
    const material = overlay(MeshBasicMaterial, colour);
    this.shaft = new Mesh(rod, material);
    this.tip = new Mesh(head, material);
    this.meshes = [this.shaft, this.tip];
    for (const mesh of this.meshes) mesh.renderOrder = 7;
  }
  // A force as a share of the weight.
  show(from, force) {
    const is_shown = force.length() >= least_share;
    for (const mesh of this.meshes) mesh.visible = is_shown;
    if (!is_shown) return;
    const along = force.clone().multiplyScalar(weight_length);
    const to = from.clone().add(along);
    const length = Math.min(head_length, along.length() / 2);
    span(this.shaft, from, to.clone().addScaledVector(along.normalize(), -length), radius);
    this.tip.position.copy(to);
    this.tip.quaternion.setFromUnitVectors(y_axis, along);
    this.tip.scale.set(2.4 * radius, length, 2.4 * radius);
  }
}

// They act on bodies, and are drawn from the bodies' origins.
export class AppliedForces extends Group {
  constructor({bodies, weight}) {
    super();
    this.weight = weight;
    this.forces = bodies.filter(({applied_force}) => applied_force).map((body) => ({...body, arrow: new Arrow('ink')}));
    for (const {arrow} of this.forces) this.add(...arrow.meshes);
  }
  show(sample) {
    for (const {arrow, origin, applied_force} of this.forces) {
      arrow.show(at(origin, sample), at(applied_force, sample).divideScalar(this.weight));
    }
  }
}
