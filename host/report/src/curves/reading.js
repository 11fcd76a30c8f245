// What a curve says at the time shown, as text: its value, how far that is from the value at the second cursor, and the
// value of the second run.
import {signed, text} from '../data/numbers.js';
import {nearestSample} from '../timeline.js';

// The sample of the second run nearest to a time of the first; undefined before it begins or after its end.
function sampleOfOther({time}, shift, now) {
  const is_within = now >= time[0] + shift && now <= time.at(-1) + shift;
  return is_within ? nearestSample(time, now - shift) : undefined;
}

export function reading({values, other}, {motion, timeline, view}) {
  const value = values[timeline.sample.value];
  const parts = [text(value)];
  if (view.mark.value !== null) parts.push(`Δ ${signed(value - values[view.mark.value])}`);
  if (other) {
    const sample = sampleOfOther(motion.other, view.shift.value, timeline.now);
    parts.push(`B ${sample === undefined ? '–' : text(other.values[sample])}`);
  }
  return parts.join(' ');
}

// All that changes a reading.
export const readingChanges = ({timeline, view}) => [timeline.sample, view.mark, view.shift];
