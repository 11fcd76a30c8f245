// The ground from above, x upwards and y to the left: footprints, soles, what they span, zero moment point, centre of
// mass, forces.
import {cornersAt, forceAt, supportPolygon} from './data/contact.js';
import {extent} from './data/numbers.js';
import {inColour, set, shape} from './dom.js';
import {watch} from './state.js';

const margin = 0.03;    // m, around what is shown
const widest = 0.9;     // m: of a motion that goes further, what is near the robot
const per_newton = 0.004;  // m, of the horizontal force
const most_samples = 200;
const slimmest = 0.5;  // height by width of the picture, or the other way around
const far = 0.15;      // m: what goes further than that beyond the rest is cut off

// Maps metres in the world to millimetres of the picture.
const to_picture = 'matrix(0 -1000 -1000 0 0 0)';
const pointsOf = (points) => points.map(([x, y]) => `${x.toFixed(5)},${y.toFixed(5)}`).join(' ');
const at = ([x, y], sample) => [x[sample], y[sample]];

// Returns the bounds of all soles, centres of pressure, the centre of mass and the zero moment point: centre and half
// sizes, x and y [m].
function boundsOf({time, com, bodies, ground}) {
  const points = [];
  const stride = Math.ceil(time.length / most_samples);
  for (let sample = 0; sample < time.length; sample += stride) {
    points.push(at(com, sample));
    for (const sole of ground.soles) points.push(at(sole.pressure, sample), ...cornersAt({bodies}, sole, sample));
  }
  const extents = [0, 1].map((axis) => {
    const [low, high] = extent([points.map((point) => point[axis])]);
    const [least, most] = extent([ground.zmp[axis]]);
    return [Math.min(low, Math.max(least, low - far)), Math.max(high, Math.min(most, high + far))];
  });
  const half = extents.map(([low, high]) => (high - low) / 2 + margin);
  const follows = Math.max(...half) > widest / 2;
  if (follows) return {follows, centre: [0, 0], half: [widest / 2, widest / 2]};
  const least = slimmest * Math.max(...half);
  return {follows, centre: extents.map(([low, high]) => (low + high) / 2), half: half.map((v) => Math.max(v, least))};
}

export function addTopView({'top-view': panel, picture, above, letters, scale}, {motion, timeline}) {
  const {ground, com, bodies} = motion;
  const {follows, centre, half} = boundsOf(motion);
  const polygon = shape('polygon', {class: 'support', style: inColour('support')});
  // The places where each sole touched down.
  const styleOf = ({body}) => inColour(`side-${bodies[body].side}`);
  const prints = ground.soles.flatMap((sole) => sole.spans.map(({first}) => shape(
      'polygon', {class: 'print', style: styleOf(sole), points: pointsOf(cornersAt(motion, sole, first))})));
  const soles = ground.soles.map((sole) => {
    const {side} = bodies[sole.body];
    const style = styleOf(sole);
    const parts = {
      outline: shape('polygon', {class: 'sole'}),
      arrow: shape('line', {class: 'shear'}),
      dot: shape('circle', {class: 'pressure', r: 0.004}),
    };
    const letter = shape('text', {style}, side === 'middle' ? '' : side[0].toUpperCase());
    return {...parts, letter, all: shape('g', {style}, ...Object.values(parts))};
  });
  const points = [[com, 'com', 0.008], [ground.zmp, 'zmp', 0.004]].map(([columns, kind, r]) => ({
    columns,
    trace: shape('polyline', {class: 'trace', style: inColour(kind), points: pointsOf(Array.from(columns[0], (_, s) => at(columns, s)))}),
    dot: shape('circle', {class: `spot ${kind}`, style: inColour(kind), r}),
  }));
  above.append(...prints, polygon, ...soles.map(({all}) => all), ...points.map(({trace}) => trace), ...points.map(({dot}) => dot));
  letters.append(...soles.map(({letter}) => letter));
  const [left, top] = [1, 0].map((axis) => -1000 * (centre[axis] + half[axis]));
  const [height, width] = half.map((v) => 2000 * v);
  set(picture, {viewBox: [left, top, width, height].map((v) => v.toFixed(1)).join(' '), style: `aspect-ratio: ${width / height}`});
  set(scale, {transform: `translate(${left} ${top + height})`});
  panel.classList.toggle('wide', width > 1.25 * height);
  // Letters are of one size, whatever the picture's.
  new ResizeObserver(() => {
    const {clientWidth, clientHeight} = picture;
    picture.style.setProperty('--pixel', `${Math.max(width / (clientWidth || width), height / (clientHeight || height))}px`);
  }).observe(picture);

  watch([timeline.sample, timeline.shift], () => {
    const sample = timeline.nearest(motion);
    const [dx, dy] = follows ? at(com, sample) : [0, 0];
    set(polygon, {points: pointsOf(supportPolygon(motion, sample))});
    ground.soles.forEach((sole, i) => {
      const {outline, arrow, dot, letter, all} = soles[i];
      const [x, y] = at(sole.pressure, sample);
      const [fx, fy] = forceAt(sole, sample);
      const corners = cornersAt(motion, sole, sample);
      all.classList.toggle('lifted', !sole.contact[sample]);
      set(outline, {points: pointsOf(corners)});
      set(arrow, {x1: x, y1: y, x2: x + per_newton * fx, y2: y + per_newton * fy});
      set(dot, {cx: x, cy: y});
      // The letter is beside the first corner, because an unloaded sole has its pressure point in the middle.
      const [cx, cy] = [0, 1].map((axis) =>
        [...corners, ...Array(3).fill(corners[0])].reduce((sum, corner) => sum + corner[axis], 0) / (corners.length + 3));
      set(letter, {x: -1000 * (cy - dy), y: -1000 * (cx - dx)});
    });
    for (const {columns, dot} of points) set(dot, {cx: columns[0][sample], cy: columns[1][sample]});
    set(above, {transform: follows ? `${to_picture} translate(${-dx} ${-dy})` : to_picture});
  });
}
