// One chart of curves over the time of the page.
import uPlot from 'uplot';
import {colour, onScheme} from '../colours.js';
import {extent} from '../data/motion.js';
import {ticks, tickTexts} from '../data/numbers.js';

const font = '12px system-ui, sans-serif';
const near_curve = 12;  // px
// px, of the axes.
const time_height = 24;
const values_width = 60;
const gap = 6;
const time_space = 60;  // between ticks
const bar_height = 4;
const least_drag = 4;

const ruler = document.createElement('canvas').getContext('2d');
function widest(texts) {
  ruler.font = font;
  return Math.max(...texts.map((text) => ruler.measureText(text).width));
}

const seconds = (times) => tickTexts(times).map((t) => `${t} s`);

// As many as there is place for beside each other.
function timeTicks(plot, low, high) {
  const width = plot.width - values_width;
  let most = Math.floor(width / time_space);
  let times = ticks(low, high, most);
  while (most > 1 && (widest(seconds(times)) + gap) * (high - low) > (times[1] - times[0]) * width) {
    times = ticks(low, high, --most);
  }
  return times;
}

// Right of the axis, for half of the text of a tick that is at its end.
function endRoom(plot) {
  const {min, max} = plot.scales.x;
  return min === null ? gap : Math.ceil(widest(seconds(timeTicks(plot, min, max))) / 2);
}

// `splits(plot, low, high)`: the ticks. They are ours, for the library's end where numbers are large: its own increment
// only has to be one that always fits.
const axis = (splits, more) => ({
  font,
  incrs: [1e300],
  splits: (plot, _, low, high) => splits(plot, low, high),
  stroke: () => colour('muted'),
  grid: {stroke: () => colour('grid'), width: 1},
  ticks: {show: false},
  ...more,
});

// What is drawn on the canvas besides the curves of the first run. Places are in the canvas's own pixels.
class Extras {
  constructor({motion, comparison}, curves) {
    Object.assign(this, {motion, comparison, curves});
    const soles = motion.standing?.soles ?? [];
    this.bars = soles.map(({body, spans}) => ({side: motion.bodies[body].side, spans}));
    this.height = this.bars.length ? (this.bars.length + 1) * bar_height : 0;
  }

  // Behind the curves: what the ground cannot bear.
  before(plot) {
    plot.ctx.fillStyle = colour('unborne-band');
    const {top, height} = plot.bbox;
    for (const span of this.motion.standing?.spans ?? []) this.#fill(plot, span, top, height);
  }
  // A bar for each sole below the curves, while it stands; and the second run.
  after(plot) {
    const {top, height} = plot.bbox;
    this.bars.forEach(({side, spans}, i) => {
      plot.ctx.fillStyle = colour(`side-${side}`);
      const y = top + height + (0.75 + i) * bar_height * devicePixelRatio;
      for (const span of spans) this.#fill(plot, span, y, 0.75 * bar_height * devicePixelRatio);
    });
    if (this.comparison) this.#drawOther(plot);
  }

  #fill(plot, {first, last}, y, height) {
    const {left, width} = plot.bbox;
    const {time} = this.motion;
    const [from, to] = [first, last].map((s) => Math.min(Math.max(plot.valToPos(time[s], 'x', true), left), left + width));
    const least = devicePixelRatio;
    if (to > left && from < left + width) plot.ctx.fillRect(from, y, Math.max(to - from, least), height);
  }

  #drawOther(plot) {
    const {ctx, bbox: {left, top, width, height}} = plot;
    const {shift, other: {drawnTime}} = this.comparison;
    ctx.save();
    ctx.beginPath();
    ctx.rect(left, top, width, height);
    ctx.clip();
    ctx.setLineDash([5, 3].map((length) => length * devicePixelRatio));
    for (const {other, stroke} of this.curves) {
      if (!other) continue;
      ctx.beginPath();
      other.drawn.forEach((value, i) => ctx.lineTo(plot.valToPos(drawnTime[i] + shift, 'x', true),
                                                   plot.valToPos(value, 'y', true)));
      ctx.strokeStyle = stroke();
      ctx.lineWidth = 1.2 * devicePixelRatio;
      ctx.stroke();
    }
    ctx.restore();
  }
}

// `curves`: `values` at the samples of the timeline, `drawn` at the times motion.drawnTime, those of the `other` run,
// name, stroke() and dash; `range(low, high)` of the values; `onCurve(i)` is told of a click close to one.
export class Chart {
  #strong = null;
  #pressed = null;

  constructor(place, page, {height: inner_height, curves, range, onCurve, shows_time = true, space = 21}) {
    const {motion, timeline, view, comparison} = page;
    Object.assign(this, {timeline, view, curves, onCurve});
    const {last} = timeline;
    const others = extent(curves.flatMap(({other}) => other ? [other.drawn] : []));
    const extras = new Extras(page, curves);
    const height = inner_height + extras.height;
    this.plot = new uPlot(
        {
          width: place.clientWidth || 300,
          height,
          padding: [8, endRoom, shows_time ? 0 : 4 + extras.height, 0],
          legend: {show: false},
          cursor: {show: false},
          hooks: {drawClear: [(plot) => extras.before(plot)], draw: [(plot) => extras.after(plot)]},
          scales: {
            x: {time: false, range: () => view.span},
            y: {range: (_, low, high) => {
              const all = [Math.min(low ?? Infinity, others[0]), Math.max(high ?? -Infinity, others[1])];
              return all[0] <= all[1] ? range(...all) : [0, 1];
            }},
          },
          axes: [
            axis(timeTicks, {
              show: shows_time,
              size: time_height + extras.height,
              gap: 4 + extras.height,
              values: (_, times) => seconds(times),
            }),
            axis((_, low, high) => ticks(low, high, (inner_height - (shows_time ? time_height : 0)) / space), {
              size: (_, texts) => Math.max(values_width, texts ? widest(texts) + 2 * gap : 0),
              gap,
              values: (_, values) => tickTexts(values),
            }),
          ],
          series: [
            {},
            ...curves.map(({stroke, dash}) => ({stroke, dash, width: 1.5, pxAlign: 0, points: {show: last === 0, fill: stroke}})),
          ],
        },
        [motion.drawnTime, ...curves.map(({drawn}) => drawn)], place);
    this.second = this.#mark('second-cursor');
    this.cursor = this.#mark('cursor');
    this.dot = this.#mark('mark');
    this.selected = this.#mark('selected-time');
    this.selected.hidden = true;
    this.#listen(this.plot.over);
    new ResizeObserver(() => this.#resize(place, height)).observe(place);
    onScheme(() => this.plot.redraw());
    timeline.addEventListener('time', () => this.showTime());
    view.addEventListener('span', () => this.rescale());
    view.addEventListener('mark', () => this.showTime());
    comparison?.addEventListener('shift', () => this.rescale());
    this.showTime();
  }

  // Draws one curve stronger than the others; null for none.
  emphasize(curve) {
    if (curve === this.#strong) return;
    this.#strong = curve;
    this.plot.series.slice(1).forEach((series, i) => {
      series.width = i === curve ? 3 : 1.5;
      series.alpha = curve === null || i === curve ? 1 : 0.7;
    });
    this.plot.redraw();
    this.showTime();
  }

  // The texts along the axis of the values, and how many px of it none may be wider than.
  labels() {
    const {_values, _size} = this.plot.axes[1];
    return {texts: _values, room: _size - gap, widest: widest(_values)};
  }

  // The texts along the axis of the time, where they are, and how wide the chart is.
  times() {
    const {_values, _splits, show} = this.plot.axes[0];
    const left = this.plot.bbox.left / devicePixelRatio;
    const texts = show ? _values : [];
    return {
      size: this.plot.width,
      texts: texts.map((text, i) => {
        const middle = left + this.plot.valToPos(_splits[i], 'x');
        const half = widest([text]) / 2;
        return {text, left: middle - half, right: middle + half};
      }),
    };
  }

  // After `range` has come to say something else.
  rescale() {
    this.plot.setData(this.plot.data);
    this.showTime();
  }

  showTime() {
    this.#place(this.cursor, this.timeline.sample);
    this.#place(this.second, this.view.mark);
    this.dot.hidden = this.#strong === null || this.cursor.hidden;
    if (this.dot.hidden) return;
    const curve = this.curves[this.#strong];
    const x = this.plot.valToPos(this.timeline.now, 'x');
    const y = this.plot.valToPos(curve.values[this.timeline.sample], 'y');
    this.dot.style.transform = `translate(${x}px, ${y}px)`;
    this.dot.style.background = curve.stroke();
  }

  // Puts a cursor to a sample, if that is seen.
  #place(cursor, sample) {
    const [low, high] = this.view.span;
    const time = sample === null ? NaN : this.timeline.time[sample];
    cursor.hidden = !(time >= low && time <= high);
    if (!cursor.hidden) cursor.style.transform = `translateX(${this.plot.valToPos(time, 'x')}px)`;
  }

  #mark(kind) {
    const mark = document.createElement('div');
    mark.className = kind;
    return this.plot.over.appendChild(mark);
  }

  #resize(place, height) {
    if (place.clientWidth > 0) this.plot.setSize({width: place.clientWidth, height});
    this.showTime();
  }

  // The pointer over the chart shows a time, a press goes there or with shift puts the second cursor, a drag zooms into
  // the time that it went over, and a double press shows all again.
  #listen(over) {
    const left = ({clientX}) => clientX - over.getBoundingClientRect().left;
    const timeAt = (x) => this.plot.posToVal(Math.min(Math.max(x, 0), over.clientWidth), 'x');
    const sampleAt = (event) => this.timeline.nearest(timeAt(left(event)));
    const dragged = (event) => this.#pressed !== null && Math.abs(left(event) - this.#pressed) >= least_drag;
    const end = () => {
      this.#pressed = null;
      this.selected.hidden = true;
    };
    over.addEventListener('pointerdown', (event) => {
      if (event.button !== 0) return;
      this.#pressed = left(event);
      over.setPointerCapture(event.pointerId);
    });
    over.addEventListener('pointermove', (event) => {
      if (event.pointerType === 'mouse') this.timeline.preview(sampleAt(event));
      if (!dragged(event)) return;
      const [from, to] = [this.#pressed, left(event)].map((x) => Math.min(Math.max(x, 0), over.clientWidth)).sort((a, b) => a - b);
      this.selected.hidden = false;
      Object.assign(this.selected.style, {left: `${from}px`, width: `${to - from}px`});
    });
    over.addEventListener('pointerup', (event) => {
      if (this.#pressed === null) return;
      if (dragged(event)) {
        this.view.zoom(...[this.#pressed, left(event)].map(timeAt).sort((a, b) => a - b));
      } else if (event.shiftKey) {
        this.view.setMark(sampleAt(event));
      } else {
        this.timeline.pause();
        this.timeline.set(sampleAt(event));
        this.#pick(event.clientY - over.getBoundingClientRect().top);
      }
      end();
    });
    over.addEventListener('pointercancel', end);
    over.addEventListener('dblclick', () => this.view.reset());
    over.addEventListener('pointerleave', () => this.timeline.preview(null));
  }

  #pick(top) {
    const {sample} = this.timeline;
    const distances = this.curves.map(({values}) => Math.abs(this.plot.valToPos(values[sample], 'y') - top));
    const closest = distances.indexOf(Math.min(...distances));
    if (distances[closest] < near_curve) this.onCurve?.(closest);
  }
}
