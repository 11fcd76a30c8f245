// The span of time that all curves show, and the second cursor. Events: `span`, `mark`.
export class View extends EventTarget {
  mark = null;

  // `full`: all of the time; `least`: no span is shorter [s].
  constructor(full, least) {
    super();
    Object.assign(this, {full, least, span: full});
  }

  get zoomed() {
    return this.span !== this.full;
  }

  zoom(low, high) {
    const [first, last] = this.full;
    const half = Math.max(high - low, this.least) / 2;
    const middle = (low + high) / 2;
    this.#show([Math.max(middle - half, first), Math.min(middle + half, last)]);
  }
  reset() {
    this.#show(this.full);
  }
  // After the times have come to be others.
  extend(full) {
    if (this.zoomed) this.full = full;
    else this.#show(this.full = full);
  }

  // A sample, or null for none.
  setMark(sample) {
    this.mark = sample;
    this.dispatchEvent(new Event('mark'));
  }

  #show(span) {
    this.span = span;
    this.dispatchEvent(new Event('span'));
  }
}
