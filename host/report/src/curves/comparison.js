// A second run, whose times are counted `shift` seconds later. Event: `shift`.
import {Timeline} from '../timeline.js';

export class Comparison extends EventTarget {
  shift = 0;
  #times;

  constructor(other) {
    super();
    this.other = other;
    this.#times = new Timeline(other.time);
  }
  get span() {
    const {time} = this.other;
    return [time[0] + this.shift, time[time.length - 1] + this.shift];
  }
  // The sample of the second run nearest to a time of the first; null before it begins or after its end.
  sampleAt(time) {
    const [first, last] = this.span;
    return time < first || time > last ? null : this.#times.nearest(time - this.shift);
  }
  setShift(shift) {
    this.shift = shift;
    this.dispatchEvent(new Event('shift'));
  }
}
