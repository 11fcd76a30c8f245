// One chart of curves over the time of the page.
import uPlot from 'uplot';
import {colour, onScheme} from './colours.js';
import {ticks, tickTexts} from './numbers.js';

const font = '12px system-ui, sans-serif';
const near_curve = 12;  // px
// px, of the axes.
const time_height = 24;
const values_width = 60;
const gap = 6;
const time_space = 60;  // between ticks

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

// `curves`: `values` at the samples of the timeline, `drawn` at the times `drawn_time`, stroke() and dash; `range(low, high)` of the values; `onCurve(i)` is told of a click close to one.
export class Chart {
  #strong = null;
  #drag = false;

  constructor(place, timeline, drawn_time, {height, curves, range, onCurve, shows_time = true, space = 21}) {
    this.timeline = timeline;
    this.curves = curves;
    this.onCurve = onCurve;
    const {time, last} = timeline;
    const span = last > 0 ? [time[0], time[last]] : [time[0] - 0.5, time[0] + 0.5];
    this.plot = new uPlot(
        {
          width: place.clientWidth || 300,
          height,
          padding: [8, endRoom, shows_time ? 0 : 4, 0],
          legend: {show: false},
          cursor: {show: false},
          scales: {x: {time: false, range: () => span}, y: {range: (_, low, high) => range(low, high)}},
          axes: [
            axis(timeTicks, {
              show: shows_time,
              size: time_height,
              gap: 4,
              values: (_, times) => seconds(times),
            }),
            axis((_, low, high) => ticks(low, high, (height - (shows_time ? time_height : 0)) / space), {
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
        [drawn_time, ...curves.map(({drawn}) => drawn)], place);
    this.cursor = this.#mark('cursor');
    this.dot = this.#mark('mark');
    this.#listen(this.plot.over);
    new ResizeObserver(() => this.#resize(place, height)).observe(place);
    onScheme(() => this.plot.redraw());
    timeline.addEventListener('time', () => this.showTime());
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
    const x = this.plot.valToPos(this.timeline.now, 'x');
    this.cursor.style.transform = `translateX(${x}px)`;
    this.dot.hidden = this.#strong === null;
    if (this.dot.hidden) return;
    const curve = this.curves[this.#strong];
    const y = this.plot.valToPos(curve.values[this.timeline.sample], 'y');
    this.dot.style.transform = `translate(${x}px, ${y}px)`;
    this.dot.style.background = curve.stroke();
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

  // The pointer over the chart shows a time, a press or a drag goes there.
  #listen(over) {
    const sampleAt = ({clientX}) =>
        this.timeline.nearest(this.plot.posToVal(clientX - over.getBoundingClientRect().left, 'x'));
    over.addEventListener('pointerdown', (event) => {
      if (event.button !== 0) return;
      this.#drag = true;
      over.setPointerCapture(event.pointerId);
      this.timeline.pause();
      this.timeline.set(sampleAt(event));
      this.#pick(event.clientY - over.getBoundingClientRect().top);
    });
    over.addEventListener('pointermove', (event) => {
      if (this.#drag) this.timeline.set(sampleAt(event));
      else if (event.pointerType === 'mouse') this.timeline.preview(sampleAt(event));
    });
    for (const end of ['pointerup', 'pointercancel']) over.addEventListener(end, () => this.#drag = false);
    over.addEventListener('pointerleave', () => this.timeline.preview(null));
  }

  #pick(top) {
    const {sample} = this.timeline;
    const distances = this.curves.map(({values}) => Math.abs(this.plot.valToPos(values[sample], 'y') - top));
    const closest = distances.indexOf(Math.min(...distances));
    if (distances[closest] < near_curve) this.onCurve?.(closest);
  }
}
