// State that the parts of the page share.

// A value that is watched.
export class Value {
  #value;
  #watchers = [];
  constructor(value) {
    this.#value = value;
  }
  get value() {
    return this.#value;
  }
  set value(value) {
    if (value === this.#value) return;
    this.#value = value;
    for (const show of this.#watchers) show();
  }
  watch(show) {
    this.#watchers.push(show);
  }
}

// Calls `show` now and after every change of one of the values.
export function watch(values, show) {
  for (const value of values) value.watch(show);
  show();
}
