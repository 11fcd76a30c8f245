// The span of time that all curves show, and the second cursor.
import {Value} from '../state.js';

// All of the times, and half a second on both sides of one that is alone.
function fullSpan({time}) {
  const [first, last] = [time[0], time.at(-1)];
  return last > first ? [first, last] : [first - 0.5, first + 0.5];
}

export class View {
  mark = new Value(null);  // s
  #full;

  constructor(timeline) {
    this.#full = fullSpan(timeline);
    this.span = new Value(this.#full);
    // The smallest span has a few samples, and more than single precision resolves.
    this.least = (this.#full[1] - this.#full[0]) * Math.min(1, 4 / Math.max(timeline.last, 1));
    timeline.shift.watch(() => {
      const {zoomed} = this;
      this.#full = fullSpan(timeline);
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
  // Puts the second cursor to a time, or takes it away.
  toggleMark(time) {
    this.mark.value = this.mark.value === null ? time : null;
  }
}
