// Soles on the ground at a sample: where their corners are, and what they span.

// The spans of samples at which `flags` have the value, each with its `first` and `last`.
export function spansOf(flags, value) {
  const spans = [];
  flags.forEach((flag, sample) => {
    if (flag !== value) return;
    const before = spans[spans.length - 1];
    if (before?.last === sample - 1) before.last = sample;
    else spans.push({first: sample, last: sample});
  });
  return spans;
}

// The quaternion (w, v) turns c into c + 2 w (v x c) + 2 v x (v x c).
const cross = ([a, b, c], [x, y, z]) => [b * z - c * y, c * x - a * z, a * y - b * x];
function turned([w, ...v], corner) {
  const once = cross(v, corner).map((u) => 2 * u);
  const twice = cross(v, once);
  return corner.map((c, i) => c + w * once[i] + twice[i]);
}

// The corners of a sole in the world.
export function cornersAt({bodies}, {body, corners, orientation}, sample) {
  const q = orientation.map((column) => column[sample]);
  return corners.map((corner) => turned(q, corner).map((c, axis) => c + bodies[body].origin[axis][sample]));
}

// The convex hull of points (x, y), counter-clockwise. A. M. Andrew's chains: one below, one above.
export function hull(points) {
  const sorted = [...points].sort(([ax, ay], [bx, by]) => ax - bx || ay - by);
  const left = ([ax, ay], [bx, by], [cx, cy]) => (bx - ax) * (cy - ay) - (by - ay) * (cx - ax) > 0;
  const chain = (all) => {
    const kept = [];
    for (const point of all) {
      while (kept.length > 1 && !left(kept[kept.length - 2], kept[kept.length - 1], point)) kept.pop();
      kept.push(point);
    }
    return kept.slice(0, -1);
  };
  return sorted.length < 3 ? sorted : [...chain(sorted), ...chain(sorted.reverse())];
}

// Returns the support polygon, which the soles in contact span: by the corners that are hardly above the lowest one of
// their sole.
export function supportPolygon({bodies, ground: {soles, level}}, sample) {
  return hull(soles.filter(({contact}) => contact[sample]).flatMap((sole) => {
    const corners = cornersAt({bodies}, sole, sample);
    const lowest = Math.min(...corners.map(([, , z]) => z));
    return corners.filter(([, , z]) => z <= lowest + level).map(([x, y]) => [x, y]);
  }));
}

// The force on a sole in the world [N].
export const forceAt = ({force}, sample) => force.map(({values}) => values[sample]);
