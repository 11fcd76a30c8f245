// The animated figure: camera, ground, letters, and what draws them when something has changed.
import {
  DirectionalLight,
  HemisphereLight,
  Object3D,
  PerspectiveCamera,
  Scene,
  Spherical,
  Vector3,
  WebGLRenderer,
} from 'three';
import {OrbitControls} from 'three/examples/jsm/controls/OrbitControls.js';
import {curveName, onScheme} from '../colours.js';
import {text} from '../data/numbers.js';
import {element} from '../dom.js';
import {Feet} from './feet.js';
import {bounds, Ground, rootOver, travel} from './ground.js';
import {at, Robot} from './scene.js';

const turn = Math.PI / 24;  // by a key
const zoom = 1.1;
const long_travel = 1;  // m, of the root over the ground: from here on the camera follows
const farthest = 1e6;  // m: single precision has no figure beyond, and drivers hang on what is far larger
const margin = 0.05;  // m, for the spheres and letters around the points

Object3D.DEFAULT_UP.set(0, 0, 1);

// From where the camera looks, for a robot that faces x.
const views = {
  Oblique: [1, 0.75, 0.45],
  Front: [1, 0, 0],
  Side: [0, 1, 0],
  Top: [-1e-3, 0, 1],
};

// Letters over the canvas, at points of the scene.
class Letters {
  constructor(place, motion) {
    this.motion = motion;
    const limbs = motion.limbs.filter(({side}) => side !== 'middle');
    this.letters = limbs.map(({side, bodies}) => ({
      columns: motion.bodies[bodies[bodies.length - 1]].com,
      node: element('span', {class: `letter ${side}`}, side[0].toUpperCase()),
    }));
    place.append(...this.letters.map(({node}) => node));
  }
  show(sample, camera, {width, height}) {
    for (const {columns, node} of this.letters) {
      const {x, y} = at(columns, sample).project(camera);
      node.style.transform = `translate(${((x + 1) * width) / 2}px, ${((1 - y) * height) / 2}px)`;
    }
  }
}

class Figure {
  #drawing = false;
  direction = views.Oblique;

  constructor(place, context, canvas, motion, timeline, selection) {
    Object.assign(this, {place, motion, timeline, selection});
    const {middle, radius} = bounds(motion, false);
    if (middle.length() + radius > farthest) throw new RangeError('positions beyond 1000 km');
    this.renderer = new WebGLRenderer({canvas, context, antialias: true, alpha: true});
    this.camera = new PerspectiveCamera(30, 1);
    this.robot = new Robot(motion);
    this.feet = motion.standing ? new Feet(motion) : null;
    this.letters = new Letters(place, motion);
    this.scene = new Scene();
    const lamp = new DirectionalLight(0xffffff, 1.6);
    this.camera.add(lamp.translateX(-0.6).translateY(0.8));
    if (this.feet) this.scene.add(this.feet);
    this.scene.add(this.robot, this.camera, new HemisphereLight(0xffffff, 0x9a9a9a, 1.9));
    this.controls = new OrbitControls(this.camera, canvas);
    // On a phone a vertical stroke scrolls the page, a horizontal one turns the figure.
    canvas.style.touchAction = 'pan-y';
    this.controls.addEventListener('change', () => this.draw());
    this.#resize();
    this.follow(travel(motion) > long_travel);
    timeline.addEventListener('time', () => this.draw());
    selection.addEventListener('joint', () => this.#recolour());
    onScheme(() => this.#recolour());
    new ResizeObserver(() => this.#resize()).observe(place);
  }

  // Radians to the left and upwards around the target, and how many times further away.
  orbit(left, up, further) {
    const {camera, controls} = this;
    // Its axis is y, the world's z.
    const {x, y, z} = camera.position.clone().sub(controls.target);
    const place = new Spherical().setFromCartesianCoords(y, z, x);
    place.theta -= left;
    place.phi -= up;
    place.radius *= further;
    const turned = new Vector3().setFromSpherical(place.makeSafe());
    camera.position.set(turned.z, turned.x, turned.y).add(controls.target);
    controls.update();
    this.draw();
  }

  // Whether the camera goes with the root over the ground. Looks anew.
  follow(follows) {
    this.follows = follows;
    this.bounds = bounds(this.motion, follows);
    const {radius} = this.bounds;
    this.ground = new Ground(this.bounds, this.motion.ground.z);
    Object.assign(this.camera, {near: radius / 50, far: 100 * radius}).updateProjectionMatrix();
    this.#recolour();
    this.look(this.direction);
  }

  // All of the motion, seen from `direction`.
  look(direction) {
    this.direction = direction;
    this.base = this.#base();
    const {camera, controls} = this;
    const {points} = this.bounds;
    const middle = this.bounds.middle.clone().add(this.base);
    controls.target.copy(middle);
    camera.position.set(...direction).normalize().add(middle);
    controls.update();
    camera.updateMatrixWorld();
    // How far back a point with its margin needs the camera, which is 1 m from the middle.
    const slope = Math.tan((camera.fov * Math.PI) / 360);
    const needs = points.map((point) => {
      const {x, y, z} = point.clone().add(this.base).applyMatrix4(camera.matrixWorldInverse);
      return z + 1 + Math.max((Math.abs(x) + margin) / camera.aspect, Math.abs(y) + margin) / slope;
    });
    camera.position.sub(middle).setLength(Math.max(...needs)).add(middle);
    controls.update();
    this.draw();
  }

  // At most once for each frame of the screen.
  draw() {
    if (this.#drawing) return;
    this.#drawing = true;
    requestAnimationFrame(() => {
      this.#drawing = false;
      this.robot.show(this.timeline.sample, this.selection.joint);
      this.feet?.show(this.timeline.sample);
      this.#move();
      this.renderer.render(this.scene, this.camera);
      this.letters.show(this.timeline.sample, this.camera, this.size);
    });
  }

  #base() {
    return this.follows ? rootOver(this.motion, this.timeline.sample) : new Vector3();
  }

  #move() {
    const base = this.#base();
    const move = base.clone().sub(this.base);
    this.base = base;
    this.controls.target.add(move);
    this.camera.position.add(move);
    this.ground.place(this.grid, base);
  }

  #recolour() {
    this.scene.remove(this.grid);
    this.grid = this.ground.grid();
    this.scene.add(this.grid);
    this.robot.recolour(this.selection.joint);
    this.feet?.recolour();
    this.draw();
  }

  #resize() {
    this.size = {width: this.place.clientWidth || 1, height: this.place.clientHeight || 1};
    this.renderer.setPixelRatio(Math.min(devicePixelRatio, 2));
    this.renderer.setSize(this.size.width, this.size.height, false);
    this.camera.aspect = this.size.width / this.size.height;
    this.camera.updateProjectionMatrix();
    this.draw();
  }
}

function showCaption(caption, motion, timeline, {joint}) {
  const {name, torque, level} = motion.joints[joint];
  caption.style.setProperty('--curve', `var(--${curveName(level)})`);
  caption.replaceChildren(element('i', {class: 'swatch'}), element('span', {}, name),
                          element('span', {class: 'value'}, `${text(torque.values[timeline.sample])} N m`));
}

// Keys of the figure while it has the focus; the page's own for the time then rest.
function addKeys(canvas, figure) {
  const keys = {
    ArrowLeft: [turn, 0, 1],
    ArrowRight: [-turn, 0, 1],
    ArrowUp: [0, turn, 1],
    ArrowDown: [0, -turn, 1],
    '+': [0, 0, 1 / zoom],
    '=': [0, 0, 1 / zoom],
    '-': [0, 0, zoom],
  };
  canvas.addEventListener('keydown', (event) => {
    if (event.ctrlKey || event.altKey || event.metaKey || !Object.hasOwn(keys, event.key)) return;
    event.preventDefault();
    event.stopPropagation();
    figure.orbit(...keys[event.key]);
  });
  // The pointer turns it without the focus, so that arrows go on to step through time.
  canvas.addEventListener('mousedown', (event) => event.preventDefault());
}

function makeFigure(stage, motion, timeline, selection) {
  const canvas = element('canvas', {
    role: 'application',
    tabindex: 0,
    'aria-label': 'The robot at the time shown: arrows turn it, plus and minus zoom',
  });
  const context = canvas.getContext('webgl2', {antialias: true, alpha: true});
  if (!context) return null;
  const place = stage.appendChild(element('div', {class: 'scene'}, canvas));
  try {
    const figure = new Figure(place, context, canvas, motion, timeline, selection);
    addKeys(canvas, figure);
    return figure;
  } catch (error) {
    console.warn(error);
    return null;
  }
}

// The figure, or a message in its place and null where the browser cannot draw it.
export function addFigure(stage, buttons, motion, timeline, selection) {
  const figure = makeFigure(stage, motion, timeline, selection);
  if (!figure) {
    stage.replaceChildren(
        element('p', {class: 'message', role: 'status'},
                'The figure needs WebGL 2 and positions within 1000 km. Curves and table work without it.'));
    return null;
  }
  const caption = element('p', {class: 'caption'});
  stage.prepend(caption);
  for (const [name, direction] of Object.entries(views)) {
    const button = element('button', {type: 'button'}, name);
    button.addEventListener('click', () => figure.look(direction));
    buttons.append(button);
  }
  const follow = element('input', {type: 'checkbox'});
  follow.checked = figure.follows;
  follow.addEventListener('change', () => figure.follow(follow.checked));
  buttons.append(element('label', {class: 'check'}, follow, 'Follow'));
  const show = () => showCaption(caption, motion, timeline, selection);
  timeline.addEventListener('time', show);
  selection.addEventListener('joint', show);
  show();
  return figure;
}
