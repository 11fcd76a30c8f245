// The animated figure: camera, ground, letters, and what draws them when something has changed.
import {DirectionalLight, Group, HemisphereLight, Object3D, PerspectiveCamera, Scene, Vector3, WebGLRenderer} from 'three';
import {OrbitControls} from 'three/examples/jsm/controls/OrbitControls.js';
import {colour, curveName, scheme} from '../colours.js';
import {reading, readingChanges} from '../curves/reading.js';
import {button, element, inColour, onKeys} from '../dom.js';
import {watch} from '../state.js';
import {Feet} from './feet.js';
import {AppliedForces} from './forces.js';
import {bounds, Ground, rootOver, travel} from './ground.js';
import {Robot} from './robot.js';
import {at, Mass} from './scene.js';

const turn = Math.PI / 24;  // by a key
const closer = 1 / 1.1;
const long_travel = 1;  // m, of the root over the ground: from here on the camera follows
const farthest = 1e6;  // m: single precision has no figure beyond, and drivers hang on what is far larger
const margin = 0.06;  // m, for the head, soles and letters around the points

Object3D.DEFAULT_UP.set(0, 0, 1);

// The directions from which the camera looks, for a robot that faces x.
const views = {
  Oblique: [1, 0.75, 0.45],
  Front: [1, 0, 0],
  Side: [0, 1, 0],
  Top: [-1e-3, 0, 1],
};

class Figure {
  #drawing = false;
  direction = views.Oblique;

  constructor(place, canvas, page) {
    const {motion, timeline, joint} = page;
    Object.assign(this, {place, motion, timeline, joint});
    const {middle, radius} = bounds(motion, false);
    if (middle.length() + radius > farthest) throw new RangeError('positions beyond 1000 km');
    // The printer needs the drawing after it was shown.
    const context = canvas.getContext('webgl2', {antialias: true, alpha: true, preserveDrawingBuffer: true});
    if (!context) throw new Error('no WebGL 2');
    this.renderer = new WebGLRenderer({canvas, context, antialias: true, alpha: true});
    this.camera = new PerspectiveCamera(30, 1);
    this.robot = new Robot(motion);
    this.ghost = motion.other ? new Robot(motion.other, true) : null;
    this.mass = new Mass(motion);
    this.feet = motion.ground ? new Feet(motion) : null;
    this.applied = new AppliedForces(motion);
    this.parts = [this.feet, this.ghost, this.robot, this.mass, this.applied].filter(Boolean);
    // The world, which moves under the camera if the camera follows the root.
    this.world = new Group().add(...this.parts);
    // Letters over the canvas, at the feet.
    this.letters = motion.limbs.filter(({side, height}) => side !== 'middle' && height <= 0).map(({side, bodies}) => ({
      columns: motion.bodies[bodies.at(-1)].com,
      node: place.appendChild(element('span', {class: `badge letter ${side}`, style: inColour(`side-${side}`)}, side[0].toUpperCase())),
    }));
    this.scene = new Scene();
    const lamp = new DirectionalLight(0xffffff, 1.6);
    this.camera.add(lamp.translateX(-0.6).translateY(0.8));
    this.scene.add(this.world, this.camera, new HemisphereLight(0xffffff, 0x9a9a9a, 1.9));
    this.controls = new OrbitControls(this.camera, canvas);
    // A vertical stroke on a phone scrolls the page, a horizontal one turns the figure.
    canvas.style.touchAction = 'pan-y';
    this.controls.addEventListener('change', () => this.draw());
    this.#resize();
    this.follow(travel(motion) > long_travel);
    for (const value of [timeline.sample, timeline.shift]) value.watch(() => this.draw());
    watch([joint, scheme], () => this.#recolour());
    new ResizeObserver(() => this.#resize()).observe(place);
  }

  // Makes the camera go with the root over the ground, or not, and looks anew.
  follow(follows) {
    this.follows = follows;
    this.bounds = bounds(this.motion, follows);
    const {radius} = this.bounds;
    this.ground?.removeFromParent();
    this.ground = new Ground(this.bounds, this.motion.floor.z);
    this.world.add(this.ground);
    Object.assign(this.camera, {near: radius / 50, far: 100 * radius}).updateProjectionMatrix();
    this.#recolour();
    this.look(this.direction);
  }

  // All of the motion, seen from `direction`.
  look(direction) {
    this.direction = direction;
    const {camera, controls, bounds: {points, middle}} = this;
    controls.target.copy(middle);
    camera.position.set(...direction).normalize().add(middle);
    controls.update();
    camera.updateMatrixWorld();
    // The distance at which the camera sees a point with its margin; it is now 1 m from the middle.
    const slope = Math.tan((camera.fov * Math.PI) / 360);
    const needs = points.map((point) => {
      const {x, y, z} = point.clone().applyMatrix4(camera.matrixWorldInverse);
      return z + 1 + Math.max((Math.abs(x) + margin) / camera.aspect, Math.abs(y) + margin) / slope;
    });
    camera.position.sub(middle).setLength(Math.max(...needs)).add(middle);
    controls.update();
    this.draw();
  }

  // Draws at most once for each frame of the screen.
  draw() {
    if (this.#drawing) return;
    this.#drawing = true;
    requestAnimationFrame(() => {
      this.#drawing = false;
      const sample = this.timeline.nearest(this.motion);
      for (const part of this.parts) {
        part.show(part === this.ghost ? this.timeline.nearest(this.motion.other) : sample, this.joint.value);
      }
      this.#move(sample);
      this.renderer.render(this.scene, this.camera);
      for (const {columns, node} of this.letters) {
        const {x, y} = at(columns, sample).add(this.world.position).project(this.camera);
        const [left, top] = [((x + 1) * this.place.clientWidth) / 2, ((1 - y) * this.place.clientHeight) / 2];
        node.style.transform = `translate(${left}px, ${top}px)`;
      }
    });
  }

  #move(sample) {
    const root = this.follows ? rootOver(this.motion, sample) : new Vector3();
    // In a gap the world stays where it was.
    if (Number.isFinite(root.length())) this.world.position.copy(root).negate();
    this.ground.place(this.world.position.clone().negate());
  }

  #recolour() {
    const {level} = this.motion.joints[this.joint.value];
    this.robot.halo.material.name = curveName(level);
    this.scene.traverse(({material}) => material?.color.set(colour(material.name)));
    this.draw();
  }

  #resize() {
    const [width, height] = [this.place.clientWidth || 1, this.place.clientHeight || 1];
    this.renderer.setPixelRatio(Math.min(devicePixelRatio, 2));
    this.renderer.setSize(width, height, false);
    this.camera.aspect = width / height;
    this.camera.updateProjectionMatrix();
    this.draw();
  }
}

// Keys of the figure while it has the focus; the page's own for the time then rest.
function addKeys(canvas, controls) {
  onKeys(canvas, {
    ArrowLeft: () => controls.rotateLeft(turn),
    ArrowRight: () => controls.rotateLeft(-turn),
    ArrowUp: () => controls.rotateUp(turn),
    ArrowDown: () => controls.rotateUp(-turn),
    '+': () => controls.dollyIn(closer),
    '=': () => controls.dollyIn(closer),
    '-': () => controls.dollyOut(closer),
  });
  // The pointer turns it without the focus, so that arrows go on to step through time.
  canvas.addEventListener('mousedown', (event) => event.preventDefault());
}

// Returns the figure, or null where the browser cannot draw it, and shows a message in its place.
export function addFigure({stage, scene, canvas, caption, views: buttons, follow}, page) {
  const {motion, joint} = page;
  let figure;
  try {
    figure = new Figure(scene, canvas, page);
  } catch (error) {
    console.warn(error);
    buttons.hidden = true;
    stage.replaceChildren(
        element('p', {class: 'message', role: 'status'},
                'The figure needs WebGL 2 and positions within 1000 km. Curves and table work without it.'));
    return null;
  }
  addKeys(canvas, figure.controls);
  follow.checked = figure.follows;
  follow.addEventListener('change', () => figure.follow(follow.checked));
  buttons.prepend(...Object.entries(views).map(([name, direction]) => button({}, () => figure.look(direction), name)));
  watch(readingChanges(page), () => {
    const {name, torque, level} = motion.joints[joint.value];
    caption.replaceChildren(element('i', {class: 'swatch', style: inColour(curveName(level))}), name,
                            element('span', {class: 'value'}, `${reading(torque, page)} N m`));
  });
  return figure;
}
