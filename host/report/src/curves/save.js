// Charts as files: a picture as it is seen, and the numbers in the span of time that is shown.
import {colour} from '../colours.js';
import {single} from '../data/numbers.js';
import {element} from '../dom.js';

function save(blob, name) {
  const address = URL.createObjectURL(blob);
  element('a', {href: address, download: name}).click();
  setTimeout(() => URL.revokeObjectURL(address), 1000);
}

const fileName = (title, ending) => `${title.toLowerCase().replace(/[^a-z0-9]+/g, '-')}.${ending}`;

function rows({time, origin}, curves, [low, high], run) {
  const lines = [];
  time.forEach((t, sample) => {
    if (t < low || t > high) return;
    lines.push([...run, origin + t, ...curves.map((values) => values ? single(values[sample]) : '')].join(','));
  });
  return lines;
}

// Of two runs each row says of which it is; times are those of its own file.
export function csvOf({motion, view, comparison}, curves) {
  const names = curves.map(({name}) => name);
  const own = (run) => rows(motion, curves.map(({values}) => values), view.span, run);
  if (!comparison) return [['time', ...names].join(','), ...own([]), ''].join('\n');
  const shifted = view.span.map((t) => t - comparison.shift);
  const others = rows(comparison.other, curves.map(({other}) => other?.values), shifted, ['B']);
  return [['run', 'time', ...names].join(','), ...own(['A']), ...others, ''].join('\n');
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
  curves.forEach(({name, stroke}, i) => {
    const y = canvas.height / scale - margin - (curves.length - i - 0.5) * line;
    context.fillStyle = stroke();
    context.fillRect(margin, y - 1.5, 14, 3);
    write(name, margin + 22, y, 400);
  });
  return canvas;
}

// The buttons of a chart that is there when they are pressed.
export function saveButtons(page, title, chart) {
  const button = (kind, press) => {
    const made = element('button', {type: 'button', 'aria-label': `Save ${title} as ${kind}`}, kind);
    made.addEventListener('click', press);
    return made;
  };
  return element(
      'span', {class: 'save'},
      button('PNG', () => pictureOf(chart(), title).toBlob((blob) => save(blob, fileName(title, 'png')))),
      button('CSV', () => save(new Blob([csvOf(page, chart().curves)], {type: 'text/csv'}), fileName(title, 'csv'))));
}
