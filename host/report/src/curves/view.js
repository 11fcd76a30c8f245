// The span of time that all curves show, the second cursor, and the shift of a second run.
import {Value} from '../state.js';

// All of the times of both runs, and half a second on both sides of one that is alone.
function fullSpan({time, other}, shift) {
  const ends = [time[0], time.at(-1), ...(other ? [other.time[0] + shift, other.time.at(-1) + shift] : [])];
  const [first, last] = [Math.min(...ends), Math.max(...ends)];
  return last > first ? [first, last] : [first - 0.5, first + 0.5];
}

export class View {
  mark = new Value(null);  // a sample
  shift = new Value(0);    // s, from the times of the second run to those that are shown
  #full;

  constructor(motion) {
    this.#full = fullSpan(motion, 0);
    this.span = new Value(this.#full);
    // Of a few samples, and far enough from where numbers end.
    this.least = (this.#full[1] - this.#full[0]) * Math.min(1, 4 / Math.max(motion.time.length - 1, 1));
    this.shift.watch(() => {
      const {zoomed} = this;
      this.#full = fullSpan(motion, this.shift.value);
      if (!zoomed) this.reset();
    });
  }

  get zoomed() {
    return this.span.value !== this.#full;
  }
  zoom(low, high) {
    const [first, last] = this.#full;
    const half = Math.max(high - low, this.least) / 2;
    const middle = (low + high) / 2;
    this.span.value = [Math.max(middle - half, first), Math.min(middle + half, last)];
  }
  reset() {
    this.span.value = this.#full;
  }
  // Puts the second cursor to a sample, or takes it away.
  toggleMark(sample) {
    this.mark.value = this.mark.value === null ? sample : null;
  }
}
