// What a curve says at the time shown, as text: its value, how far that is from the value at the second cursor, and the
// value of the second run.
import {text} from '../data/numbers.js';

const signed = (value) => (value < 0 ? '−' : '+') + text(Math.abs(value));

export function reading({values, other}, {timeline, view, comparison}) {
  const parts = [text(values[timeline.sample])];
  if (view.mark !== null) parts.push(`Δ ${signed(values[timeline.sample] - values[view.mark])}`);
  if (comparison && other) {
    const sample = comparison.sampleAt(timeline.now);
    parts.push(`B ${sample === null ? '–' : text(other.values[sample])}`);
  }
  return parts.join(' ');
}

// Calls `show` now and whenever a reading changes.
export function onReading({timeline, view, comparison}, show) {
  timeline.addEventListener('time', show);
  view.addEventListener('mark', show);
  comparison?.addEventListener('shift', show);
  show();
}
