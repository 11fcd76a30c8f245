#pragma once

/// The forces of NearestForces, for one load or for one in each lane.

#include <vector>

#include "contact/friction_cone.h"
#include "contact/wrench_matrix.h"

namespace korvel::contact {

/// A point in a load, and the force there.
template <typename Number>
struct LoadedPoint {
  Vector3T<Number> arm;
  Number compliance;   ///< its share of the load, relative to that of the others; 0 if the point does not bear
  Vector3T<Number> v;  ///< before projection
  Vector3T<Number> force;
};

/// With A_i the map from a force at point i to its wrench, P_i the projection onto its cone, D_i its compliance and
/// c_i = D_i / eps, the forces are those of
///
///   f_i = P_i(v_i),   v_i = f_i + rho_i (A_i' z - f_i / c_i),   sum_i A_i f_i + z = w
///
/// for any rho_i > 0. Since P_i(v) = P_i'(v) v, a full Newton step is the solution of a linear system, f_i = M_i A_i' z
/// with M_i = (1 - (1 - rho_i / c_i) P_i'(v_i))^-1 rho_i P_i'(v_i). Nothing in it grows with 1 / eps, and there is no
/// line search. z becomes what is missing of w.
template <typename Number>
class ForceIteration {
 public:
  using Mask = MaskOf<Number>;
  using Vector = Vector3T<Number>;
  using Wrench = WrenchT<Number>;

  /// At this eps, less than any check notices is left of a load that can be supported.
  static constexpr double least_eps = 1e-10;

  explicit ForceIteration(const std::vector<double>& frictions) {
    for (const double friction : frictions) points_.emplace_back().cone = {friction};
  }

  /// Begins in all lanes where every point is within its cone.
  void begin(const Wrench& load, const LoadedPoint<Number>* points, double first_rho) noexcept {
    w_ = load;
    for (Point& point : points_) {
      point.load = *points++;
      point.load.v = {};  // an earlier load may have left NaN there
      point.projection.is_zero = Number(1) < Number(0);
      point.projection.is_inside = !point.projection.is_zero;
    }
    eps = Number(least_eps);
    rho = Number(first_rho);
    share = Number(1);
  }
  /// The forces of the first step, in all lanes, and where the next one begins.
  void give(LoadedPoint<Number>* points) const noexcept {
    for (const Point& point : points_) {
      points->v = point.load.v;
      points++->force = point.next;
    }
  }

  /// Goes on in one lane where another iteration is after its first step.
  void take_lane(const Wrench& load, const LoadedPoint<Number>* points, int from, int to) noexcept {
    copy_lane<Number>(load, from, w_, to);
    for (Point& point : points_) copy_lane<Number>(*points++, from, point.load, to);
  }
  void give_lane(LoadedPoint<Number>* points, int from, int to) const noexcept {
    for (const Point& point : points_) copy_lane<Number>(point.load, from, *points++, to);
  }
  /// Call this after take_lane().
  void project() noexcept {
    for (Point& point : points_) point.projection = point.cone.nearest(point.load.v);
  }

  /// Computes the forces of a Newton step.
  [[gnu::flatten]] void step() noexcept {
    metapod::Spatial::InertiaT<Number> inside;
    for (Point& point : points_) {
      const Number& D = point.load.compliance;
      const Mask bears = D > Number(0);
      const Number c = D / eps;
      point.share = select(bears, smaller(rho * eps / select(bears, D, Number(1)), Number(1)), Number(1));
      point.rho = point.share * c;
      point.inside = select(point.projection.is_inside, c, Number(0));
      point.along = point.around = Number(0);
      inside = inside + metapod::Spatial::InertiaT<Number>::from_center_of_mass(point.inside, point.load.arm, {});
    }
    WrenchMatrix<Number> H(inside);
    is_curved_ = false;
    for (Point& point : points_) add_surface(point, H);
    H.factorise();
    z_ = H.solve(w_);
    Wrench rest = w_ - z_;
    for (Point& point : points_) {
      point.next = forced(point, z_);
      rest = rest - wrench_of(point.load.arm, point.next);
    }
    // Once more for what rounding has left.
    const Wrench dz = H.solve(rest);
    z_ = z_ + dz;
    for (Point& point : points_) point.next = point.next + forced(point, dz);
  }

  /// Goes a share of the way to them, and lets eps fall as fast as the forces follow.
  [[gnu::flatten]] void advance() noexcept {
    Number far_square(0);
    Number change_square(0);
    Mask is_settled = Number(0) < Number(1);
    for (Point& point : points_) {
      const Vector to = (Number(1) - point.share) * point.next + point.rho * felt_at(point.load.arm, z_);
      point.load.v = (Number(1) - share) * point.load.v + share * to;
      const ConeProjection<Number> projection = point.cone.nearest(point.load.v);
      const Vector off = point.next - projection.force;
      far_square = larger(far_square, dot(off, off));
      const Vector change = projection.force - point.load.force;
      change_square = larger(change_square, dot(change, change));
      const ConeProjection<Number>& before = point.projection;
      is_settled = is_settled && ((before.is_zero && projection.is_zero) || (before.is_inside && projection.is_inside));
      point.projection = projection;
      point.load.force = projection.force;
    }
    nearness = Number(0.01) * square_root(far_square);
    const Number least(least_eps);
    const Number least_square(1e-22);
    // The distance alone does not show it: with a small rho it does not show which of many forces are the least.
    has_arrived = far_square < least_square && (is_settled || change_square < least_square);
    // Smaller steps come so near to the forces of a load that cannot be borne, and rounding may let them no nearer.
    const Number largest_far = Number(2e-7) * smaller(rho, Number(1)) * missing();
    const Number largest_change = Number(1e-6) * missing();
    has_arrived = has_arrived || (share < Number(1) && far_square < largest_far * largest_far &&
                                  change_square < largest_change * largest_change);
    has_arrived = has_arrived && eps <= least;
    eps = smaller(eps, larger(larger(least, fall * eps), nearness));
  }

  /// Returns whether all forces of the step lie in their cones as they are.
  Mask is_inside() const noexcept {
    Mask inside = Number(0) < Number(1);
    for (const Point& point : points_) {
      const Vector& f = point.next;
      const Number most = point.cone.friction * f.z;
      inside = inside && f.z >= Number(0) && f.x * f.x + f.y * f.y <= most * most;
    }
    return inside;
  }

  Number missing() const noexcept { return square_root(dot(z_, z_)); }
  /// The length of the part of the load that the forces, within their cones, do not give.
  Number residual() const noexcept {
    Wrench rest = w_;
    for (const Point& point : points_) rest = rest - wrench_of(point.load.arm, point.load.force);
    return square_root(dot(rest, rest));
  }

  // Numbers of each lane that the schedule sets: eps, the least share of it that is left after a step, rho, and the
  // share of a step that is gone.
  Number eps{}, fall{}, rho{}, share{};
  Number nearness{};   ///< an eps that fits how far the forces of the last step are from those of v
  Mask has_arrived{};  ///< with the last step

 private:
  struct Point {
    FrictionCone cone;
    LoadedPoint<Number> load;
    ConeProjection<Number> projection;  ///< of v
    Number inside, along, around;       ///< factors of M
    Number share, rho;                  ///< rho / c, and rho
    Vector next;                        ///< the force of the step

    Vector edge() const noexcept { return {cone.friction * projection.x, cone.friction * projection.y, Number(1)}; }
    Vector across() const noexcept { return {-projection.y, projection.x, Number(0)}; }
  };

  /// Adds a point to H in the lanes in which v is nearest to the surface of its cone. It is left out if there are none:
  /// that changes signs of zeros in the other lanes, which no result shows.
  void add_surface(Point& point, WrenchMatrix<Number>& H) noexcept {
    const Mask on_surface = !(point.projection.is_zero || point.projection.is_inside);
    if (!any(on_surface)) return;
    is_curved_ = true;
    const Number zero(0);
    const Number& k = point.projection.roundness;
    const double friction = point.cone.friction;
    const Number along = Number(1 / (1 + friction * friction)) * (point.load.compliance / eps);
    point.along = select(on_surface, along, zero);
    point.around = select(on_surface, point.rho * k / (Number(1) - (Number(1) - point.share) * k), zero);
    H.add(point.along, wrench_of(point.load.arm, point.edge()));
    H.add(point.around, wrench_of(point.load.arm, point.across()));
  }

  /// M times z as it is felt at a point. Never by M as a matrix: its rounding would push forces off the edges of cones.
  Vector forced(const Point& point, const Wrench& z) const noexcept {
    const Vector felt = felt_at(point.load.arm, z);
    Vector within = point.inside * felt;
    if (!is_curved_) return within;
    const Vector edge = point.edge();
    const Vector across = point.across();
    return within + (point.along * dot(edge, felt)) * edge +
           (point.around * (across.x * felt.x + across.y * felt.y)) * across;
  }

  Wrench w_{}, z_{};
  bool is_curved_ = false;  ///< whether a point is on the surface of its cone in any lane
  std::vector<Point> points_;
};

}  // namespace korvel::contact
