// Returns the text of a curve at the time shown: its value, the difference from the value at the second cursor, and the
// value of the second run. A run without a sample there has no value.
import {signed, text} from '../data/numbers.js';

export function reading({values, other}, {motion: {runs: [run, second]}, timeline, view}) {
  const at = (run, values, time) => values[timeline.within(run, time)];
  const shown = (value) => value === undefined ? '–' : text(value);
  const value = at(run, values);
  const parts = [shown(value)];
  const marked = view.mark.value === null ? undefined : at(run, values, view.mark.value);
  if (marked !== undefined && value !== undefined) parts.push(`Δ ${signed(value - marked)}`);
  if (other) parts.push(`B ${shown(at(second, other.values))}`);
  return parts.join(' ');
}

// All that changes a reading.
export const readingChanges = ({timeline, view, joint}) => [joint, timeline.sample, timeline.shift, view.mark];
