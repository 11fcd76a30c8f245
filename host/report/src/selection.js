// The joint that figure, curves and table show more than the others. Event: `joint`.
export class Selection extends EventTarget {
  constructor(joint) {
    super();
    this.joint = joint;
  }
  select(joint) {
    if (joint === this.joint) return;
    this.joint = joint;
    this.dispatchEvent(new Event('joint'));
  }
}
