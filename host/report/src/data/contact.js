// Soles on the ground at a sample: where their corners are, and what they span.
import {Quaternion, Vector3} from 'three';

// The corners of a sole in the world.
export function cornersAt({bodies}, {body, corners, orientation}, sample) {
  const [w, x, y, z] = orientation.map((column) => column[sample]);
  const origin = new Vector3(...bodies[body].origin.map((column) => column[sample]));
  return corners.map((corner) => new Vector3(...corner).applyQuaternion(new Quaternion(x, y, z, w)).add(origin).toArray());
}

// The convex hull of points (x, y), counter-clockwise. A. M. Andrew's chains: one below, one above.
function hull(points) {
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
