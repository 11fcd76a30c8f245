// One chart of curves over the time of the page.
import uPlot from 'uplot';
import {colour, scheme} from '../colours.js';
import {extent, nearestSample, tickTexts} from '../data/numbers.js';
import {element} from '../dom.js';
import {watch} from '../state.js';

const font = '12px system-ui, sans-serif';
// px, of the axes.
const time_height = 24;
const values_width = 60;
const gap = 6;
const time_space = 75;  // between ticks
const bar_height = 4;
const least_drag = 4;

// The smallest difference that the digits of the ticks' texts show.
const increments = Array.from({length: 48}, (_, i) => i - 16).flatMap(
    (power) => [1, 2, 5].map((step) => Number(`${step}e${power}`)));

// A canvas of its own, because uPlot remembers the font of the plot's.
const ruler = document.createElement('canvas').getContext('2d');
function widthOf(text) {
  ruler.font = font;
  return ruler.measureText(text).width;
}

// A curve is interrupted where a number is not finite.
const interrupted = (drawn) =>
    drawn.some(Number.isNaN) ? Array.from(drawn, (value) => Number.isNaN(value) ? null : value) : drawn;

const dataOf = ({drawnTime}, curves) => [drawnTime, ...curves.map(({drawn}) => interrupted(drawn))];

const within = (value, low, high) => Math.min(Math.max(value, low), high);

const axis = (more) => ({
  font,
  incrs: increments,
  stroke: () => colour('muted'),
  grid: {stroke: () => colour('grid'), width: 1},
  ticks: {show: false},
  ...more,
});

// Fills from the first to the last sample of each span. Places are in the canvas's own pixels.
function fillSpans({ctx, bbox: {left, width}, valToPos}, time, spans, y, height) {
  for (const {first, last} of spans) {
    const [from, to] = [first, last].map((s) => within(valToPos(time[s], 'x', true), left, left + width));
    if (to > left && from < left + width) ctx.fillRect(from, y, Math.max(to - from, devicePixelRatio), height);
  }
}

// The curves of the second run, dashed.
function drawOther({ctx, bbox: {left, top, width, height}, valToPos}, curves, times, shift) {
  ctx.save();
  ctx.beginPath();
  ctx.rect(left, top, width, height);
  ctx.clip();
  ctx.setLineDash([5, 3].map((length) => length * devicePixelRatio));
  ctx.lineWidth = 1.2 * devicePixelRatio;
  for (const {other, colour: name} of curves.filter(({other}) => other)) {
    ctx.beginPath();
    other.drawn.forEach((value, i) => ctx.lineTo(valToPos(times[i] + shift, 'x', true), valToPos(value, 'y', true)));
    ctx.strokeStyle = colour(name);
    ctx.stroke();
  }
  ctx.restore();
}

// `curves`: `values` at the samples of the timeline, `drawn` at the times motion.drawnTime, those of the `other` run,
// `name`, `colour` in the style sheet, and perhaps `limits`; `range(low, high)` of the values. `strong` is the curve that is drawn stronger
// than the others, or -1.
export class Chart {
  constructor(place, page, {height: inner_height, curves, range, strong = -1, shows_time = true, space = 21}) {
    const {motion, timeline, view} = page;
    Object.assign(this, {motion, timeline, view, curves});
    this.soles = motion.ground?.soles ?? [];
    const bars = this.soles.length ? (this.soles.length + 1) * bar_height : 0;
    const height = inner_height + bars;
    this.plot = new uPlot(
        {
          width: place.clientWidth || 300,
          height,
          padding: [8, time_space / 2, shows_time ? 0 : 4 + bars, 0],
          legend: {show: false},
          cursor: {show: false},
          hooks: {drawClear: [(plot) => this.#drawBehind(plot)], draw: [(plot) => this.#drawOver(plot)]},
          scales: {
            x: {time: false, range: () => view.span.value},
            y: {range: (_, low, high) => {
              const others = extent(this.curves.flatMap(({other, limits = []}) => [other?.drawn ?? [], limits]));
              const all = [Math.min(low ?? Infinity, others[0]), Math.max(high ?? -Infinity, others[1])];
              return all[0] <= all[1] ? range(...all) : [0, 1];
            }},
          },
          axes: [
            axis({
              show: shows_time,
              size: time_height + bars,
              gap: 4 + bars,
              space: time_space,
              values: (_, times) => tickTexts(times).map((text) => `${text} s`),
            }),
            axis({
              size: (_, texts) => Math.max(values_width, ...(texts ?? []).map((text) => widthOf(text) + 2 * gap)),
              gap,
              space,
              values: (_, values) => tickTexts(values),
            }),
          ],
          series: [{}, ...curves.map(({colour: name}) => {
            const stroke = () => colour(name);
            return {stroke, width: 1.5, pxAlign: 0, points: {show: timeline.last === 0, fill: stroke}};
          })],
        },
        dataOf(motion, curves), place);
    const mark = (kind) => this.plot.over.appendChild(element('div', {class: kind}));
    [this.second, this.cursor, this.dot] = ['second-cursor', 'cursor', 'mark'].map(mark);
    this.#listen(this.plot.over);
    new ResizeObserver(() => {
      if (place.clientWidth > 0) this.plot.setSize({width: place.clientWidth, height});
      this.#showTime();
    }).observe(place);
    this.emphasize(strong);
    scheme.watch(() => this.plot.redraw());
    watch([view.span, timeline.shift], () => this.show());
    watch([timeline.sample, view.mark], () => this.#showTime());
  }

  emphasize(curve) {
    this.strong = curve;
    this.plot.series.slice(1).forEach((series, i) => {
      series.width = i === curve ? 3 : 1.5;
      series.alpha = curve < 0 || i === curve ? 1 : 0.7;
    });
    this.plot.redraw();
    this.#showTime();
  }

  // Hides some of the curves.
  hide(hidden) {
    hidden.forEach((is_hidden, i) => this.plot.setSeries(i + 1, {show: !is_hidden}));
  }
  // Call this after the curves or the result of `range` have changed.
  show() {
    this.plot.setData(dataOf(this.motion, this.curves));
    this.#showTime();
  }

  // Gaps, and the unsupported weight.
  #drawBehind(plot) {
    const {motion: {time, gaps, ground}} = this;
    for (const [name, spans] of [['grid', gaps], ['unborne-band', ground?.spans ?? []]]) {
      plot.ctx.fillStyle = colour(name);
      fillSpans(plot, time, spans, plot.bbox.top, plot.bbox.height);
    }
  }
  // A bar for each sole below the curves, while it stands; limits; and the second run.
  #drawOver(plot) {
    const {motion: {time, bodies, other}, timeline} = this;
    const {left, top, width, height: plot_height} = plot.bbox;
    const height = bar_height * devicePixelRatio;
    this.soles.forEach(({body, spans}, i) => {
      plot.ctx.fillStyle = colour(`side-${bodies[body].side}`);
      fillSpans(plot, time, spans, top + plot_height + (0.75 + i) * height, 0.75 * height);
    });
    plot.ctx.fillStyle = colour('unborne');
    for (const limit of this.curves.flatMap(({limits = []}) => limits)) {
      plot.ctx.fillRect(left, plot.valToPos(limit, 'y', true), width, devicePixelRatio);
    }
    if (other) drawOther(plot, this.curves.filter((_, i) => plot.series[i + 1].show), other.drawnTime, timeline.shift.value);
  }

  #showTime() {
    const sample = this.timeline.within(this.motion.runs[0]);
    this.#place(this.cursor, this.timeline.now);
    this.#place(this.second, this.view.mark.value);
    const curve = this.curves[this.strong];
    const value = curve?.values[sample];
    this.dot.hidden = !Number.isFinite(value) || this.cursor.hidden;
    if (this.dot.hidden) return;
    const [x, y] = [this.plot.valToPos(this.timeline.now, 'x'), this.plot.valToPos(value, 'y')];
    this.dot.style = `transform: translate(${x}px, ${y}px); background: var(--${curve.colour})`;
  }

  // Puts a cursor to a time, if there is one and it is seen.
  #place(cursor, time) {
    const [low, high] = this.view.span.value;
    cursor.hidden = time === null || time < low || time > high;
    if (!cursor.hidden) cursor.style.transform = `translateX(${this.plot.valToPos(time, 'x')}px)`;
  }

  // The pointer over the chart shows a time, a press goes there or with shift puts the second cursor, a drag zooms into
  // the time that it went over, and a double press shows all again.
  #listen(over) {
    const {plot, timeline, view} = this;
    const left = ({clientX}) => within(clientX - over.getBoundingClientRect().left, 0, over.clientWidth);
    const timeAt = (x) => plot.posToVal(x, 'x');
    const sampleAt = (event) => nearestSample(timeline.time, timeAt(left(event)));
    let pressed = null;
    // Returns both ends of the drag; nothing for a press.
    const dragged = (event) => {
      if (pressed === null || Math.abs(left(event) - pressed) < least_drag) return null;
      return [pressed, left(event)].sort((a, b) => a - b);
    };
    const select = (from, to) => plot.setSelect({left: from, width: to - from, top: 0, height: over.clientHeight}, false);
    over.addEventListener('pointerdown', (event) => {
      if (event.button !== 0) return;
      pressed = left(event);
      over.setPointerCapture(event.pointerId);
    });
    over.addEventListener('pointermove', (event) => {
      if (event.pointerType === 'mouse') timeline.preview(sampleAt(event));
      const span = dragged(event);
      if (span) select(...span);
    });
    over.addEventListener('pointerup', (event) => {
      if (pressed === null) return;
      const span = dragged(event);
      if (span) view.zoom(...span.map(timeAt));
      else if (event.shiftKey) view.mark.value = timeline.time[sampleAt(event)];
      else timeline.goTo(sampleAt(event));
    });
    over.addEventListener('lostpointercapture', () => {
      pressed = null;
      select(0, 0);
    });
    over.addEventListener('dblclick', () => view.reset());
    over.addEventListener('pointerleave', () => timeline.preview(timeline.here.value));
  }
}
