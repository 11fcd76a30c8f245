// Charts as files: a picture as it is seen, and the numbers in the span of time that is shown.
import {colour} from '../colours.js';
import {single} from '../data/numbers.js';
import {button, element} from '../dom.js';

function save(blob, name) {
  const address = URL.createObjectURL(blob);
  element('a', {href: address, download: name}).click();
  setTimeout(() => URL.revokeObjectURL(address), 1000);
}

// The numbers in view. If there are two runs, each row names its run. Times are those of its own file.
export function csvOf({motion: {runs}, timeline, view}, curves) {
  const named = (name) => runs.length > 1 ? [name] : [];
  const rows = runs.flatMap((run, i) => {
    const [low, high] = view.span.value.map((t) => t - timeline.shiftOf(run));
    const own = curves.map((curve) => i === 0 ? curve : curve.other);
    return [...run.time.keys()].filter((sample) => run.time[sample] >= low && run.time[sample] <= high).map(
        (sample) => [...named('AB'[i]), run.origin + run.time[sample], ...own.map((curve) => curve ? single(curve.values[sample]) : '')]);
  });
  return [[...named('run'), 'time', ...curves.map(({name}) => name)], ...rows].map((row) => `${row.join(',')}\n`).join('');
}

const line = 20;  // px
const margin = 12;

function pictureOf({plot, curves}, title) {
  const scale = devicePixelRatio;
  const canvas = element('canvas', {
    width: plot.ctx.canvas.width + 2 * margin * scale,
    height: plot.ctx.canvas.height + (line * (1 + curves.length) + 2 * margin) * scale,
  });
  const context = canvas.getContext('2d');
  context.fillStyle = colour('panel');
  context.fillRect(0, 0, canvas.width, canvas.height);
  context.drawImage(plot.ctx.canvas, margin * scale, (margin + line) * scale);
  context.scale(scale, scale);
  context.textBaseline = 'middle';
  const write = (words, x, y, weight) => {
    context.font = `${weight} 13px system-ui, sans-serif`;
    context.fillStyle = colour('ink');
    context.fillText(words, x, y);
  };
  write(title, margin, margin + line / 2, 600);
  curves.forEach(({name, colour: stroke}, i) => {
    const y = canvas.height / scale - margin - (curves.length - i - 0.5) * line;
    context.fillStyle = colour(stroke);
    context.fillRect(margin, y - 1.5, 14, 3);
    write(name, margin + 22, y, 400);
  });
  return canvas;
}

export function saveButtons(page, title, chart) {
  const save_button = (kind, press) => button({'aria-label': `Save ${title} as ${kind}`}, press, kind);
  const name = (ending) => `${title.toLowerCase().replace(/[^a-z0-9]+/g, '-')}.${ending}`;
  return element(
      'span', {class: 'save'}, save_button('PNG', () => pictureOf(chart, title).toBlob((blob) => save(blob, name('png')))),
      save_button('CSV', () => save(new Blob([csvOf(page, chart.curves)], {type: 'text/csv'}), name('csv'))));
}
