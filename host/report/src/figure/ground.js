// The place of a motion: its bounds, the distance that its root travels, and the grid below it.
import {Box3, GridHelper, Vector3} from 'three';
import {at} from './scene.js';

const least_cell = 0.1;  // m, of the grid
const most_cells = 100;
const most_samples = 200;  // for the bounds of a long motion

// Returns the point of the ground below the root.
export const rootOver = ({bodies}, sample) => at(bodies[0].origin, sample).setZ(0);

// Points that the motion goes through, and the middle of the box around them; x and y from the root's if it is followed.
export function bounds(motion, follows) {
  const points = [];
  for (const {time, bodies} of follows ? [motion] : motion.runs) {
    const stride = Math.ceil(time.length / most_samples);
    for (let sample = 0; sample < time.length; sample += stride) {
      const base = follows ? rootOver(motion, sample) : new Vector3();
      for (const {origin, com} of bodies) points.push(at(com ?? origin, sample).sub(base));
      points.push(at(bodies[0].origin, sample).setZ(motion.floor.z).sub(base));
    }
  }
  const finite = points.filter((point) => point.toArray().every(Number.isFinite));
  const box = new Box3().setFromPoints(finite.length ? finite : [new Vector3()]);
  return {points: finite, middle: box.getCenter(new Vector3()), radius: Math.max(box.getSize(new Vector3()).length() / 2, 0.1)};
}

// Cells of 10 cm, or of a larger power of ten where the motion goes far.
export class Ground extends GridHelper {
  constructor({middle, radius}, z) {
    const half = 1.4 * radius;
    const cell = Math.max(least_cell, 10 ** Math.ceil(Math.log10((2 * half) / most_cells)));
    const cells = 2 * Math.ceil(half / cell);
    super(cells * cell, cells);
    this.rotateX(Math.PI / 2);
    this.material.setValues({name: 'grid-strong', vertexColors: false});
    Object.assign(this, {cell, middle, z});
  }
  // Its lines stay where they are in the world.
  place(base) {
    const [x, y] = ['x', 'y'].map((axis) => Math.round((this.middle[axis] + base[axis]) / this.cell) * this.cell);
    this.position.set(x, y, this.z);
  }
}

// Returns the largest distance of the root from its first place.
export function travel(motion) {
  const start = rootOver(motion, 0);
  return motion.time.reduce((most, _, sample) => Math.max(most, rootOver(motion, sample).distanceTo(start) || 0), 0);
}
