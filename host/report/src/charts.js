// One chart of curves over the time of the page.
import uPlot from 'uplot';
import {colour, onScheme} from './colours.js';

const font = '12px system-ui, sans-serif';
const near_curve = 12;  // px

const axis = (more) => ({
  font,
  stroke: () => colour('muted'),
  grid: {stroke: () => colour('grid'), width: 1},
  ticks: {show: false},
  ...more,
});

// `curves`: values, stroke() and dash; `range(low, high)` of the values; `onCurve(i)` is told of a click close to one.
export class Chart {
  #strong = null;
  #drag = false;

  constructor(place, timeline, {height, curves, range, onCurve, shows_time = true}) {
    this.timeline = timeline;
    this.curves = curves;
    this.onCurve = onCurve;
    const {time, last} = timeline;
    const span = last > 0 ? [time[0], time[last]] : [time[0] - 0.5, time[0] + 0.5];
    this.plot = new uPlot(
        {
          width: place.clientWidth || 300,
          height,
          padding: [8, 10, shows_time ? 0 : 4, 0],
          legend: {show: false},
          cursor: {show: false},
          scales: {x: {time: false, range: () => span}, y: {range: (_, low, high) => range(low, high)}},
          axes: [
            axis({show: shows_time, size: 24, gap: 4, space: 44, values: (_, ticks) => ticks.map((t) => `${t} s`)}),
            axis({size: 52, gap: 6, space: 26}),
          ],
          series: [
            {},
            ...curves.map(({stroke, dash}) => ({stroke, dash, width: 1.5, pxAlign: 0, points: {show: last === 0, fill: stroke}})),
          ],
        },
        [time, ...curves.map(({values}) => values)], place);
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
