#pragma once

/// The forces of `distribute`, for one load or for one in each lane. Loads have the length one, lengths are in units of
/// moment_length, and moments are about one point.

#include "contact/friction_cone.h"
#include "contact/wrench_matrix.h"

namespace korvel::contact {

/// A point in a load, and the force there.
template <typename Number>
struct LoadedPoint {
  Vector3T<Number> arm;
  Number compliance;   ///< 0 if the point does not bear
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

  /// With it, less than any check notices is left of a load that can be borne.
  static constexpr double least_eps = 1e-10;

  /// For points with these coefficients of friction, which outlive it.
  ForceIteration(const double* frictions, int count) : frictions_(frictions), count_(count), points_(count) {}

  /// Begins in all lanes where every point is within its cone.
  void begin(const Wrench& load, const LoadedPoint<Number>* points) noexcept {
    w_ = load;
    for (int i = 0; i < count_; ++i) {
      points_[i].load = points[i];
      points_[i].projection.is_zero = Number(1) < Number(0);
      points_[i].projection.is_inside = Number(0) < Number(1);
      points_[i].projection.x = points_[i].projection.y = points_[i].projection.roundness = Number(0);
    }
    eps = Number(least_eps);
    rho = Number(direct_rho);
    steps = Number(0);
  }

  /// Goes on in one lane where another iteration is after its first step.
  void take_lane(const Wrench& load, const LoadedPoint<Number>* points, int from, int to) noexcept {
    copy_lane<Number>(load, from, w_, to);
    for (int i = 0; i < count_; ++i) copy_lane<Number>(points[i], from, points_[i].load, to);
    put_lane(eps, to, least_eps);
    put_lane(rho, to, direct_rho);
    put_lane(steps, to, 1);
  }
  void give_lane(LoadedPoint<Number>* points, int from, int to) const noexcept {
    for (int i = 0; i < count_; ++i) copy_lane<Number>(points_[i].load, from, points[i], to);
  }
  /// The forces of the last step, in all lanes, and where the next one begins.
  void give(LoadedPoint<Number>* points) const noexcept {
    for (int i = 0; i < count_; ++i) {
      points[i].v = points_[i].load.v;
      points[i].force = points_[i].next;
    }
  }

  /// Where it begins in the lanes of a mask: at the same force before projection in all points.
  void restart(const Mask& where, const Vector& v) noexcept {
    for (int i = 0; i < count_; ++i) {
      Vector& at = points_[i].load.v;
      at = {select(where, v.x, at.x), select(where, v.y, at.y), select(where, v.z, at.z)};
    }
  }
  /// After v has been set from outside.
  void project() noexcept {
    for (int i = 0; i < count_; ++i) points_[i].projection = FrictionCone{frictions_[i]}.nearest(points_[i].load.v);
  }

  /// Computes the forces of a Newton step.
  [[gnu::flatten]] void step() noexcept {
    WrenchMatrix<Number> H;
    typename WrenchMatrix<Number>::Sums sums;
    for (int i = 0; i < count_; ++i) {
      Point& point = points_[i];
      const Number& D = point.load.compliance;
      const Mask bears = D > Number(0);
      const Number c = D / eps;
      point.share = select(bears, smaller(rho * eps / select(bears, D, Number(1)), Number(1)), Number(1));
      point.rho = point.share * c;
      point.inside = select(point.projection.is_inside, c, Number(0));
      point.along = point.around = Number(0);
      sums.add(point.inside, point.load.arm);
    }
    H.set(sums);
    is_curved_ = false;
    for (int i = 0; i < count_; ++i) add_surface(points_[i], frictions_[i], H);
    H.factorise();
    z_ = H.solve(w_);
    Wrench rest = w_ - z_;
    for (int i = 0; i < count_; ++i) {
      Point& point = points_[i];
      point.next = forced(point, frictions_[i], z_);
      rest = rest - wrench_of(point.load.arm, point.next);
    }
    // Once more for what rounding has left.
    const Wrench dz = H.solve(rest);
    z_ = z_ + dz;
    for (int i = 0; i < count_; ++i) points_[i].next = points_[i].next + forced(points_[i], frictions_[i], dz);
  }

  /// Goes a share of the way to them.
  [[gnu::flatten]] void advance(double share = 1) noexcept {
    Number far_square(0);
    Number change_square(0);
    is_settled = Number(0) < Number(1);
    for (int i = 0; i < count_; ++i) {
      Point& point = points_[i];
      const Vector change = point.next - point.load.force;
      change_square = larger(change_square, dot(change, change));
      point.load.force = point.next;
      const Vector to = (Number(1) - point.share) * point.next + point.rho * felt_at(point.load.arm, z_);
      point.load.v = share < 1 ? point.load.v + Number(share) * (to - point.load.v) : to;
      const ConeProjection<Number> projection = FrictionCone{frictions_[i]}.nearest(point.load.v);
      const Vector off = point.next - projection.force;
      far_square = larger(far_square, dot(off, off));
      const ConeProjection<Number>& before = point.projection;
      is_settled = both(is_settled,
                        either(both(before.is_zero, projection.is_zero), both(before.is_inside, projection.is_inside)));
      point.projection = projection;
    }
    far = square_root(far_square);
    changed = square_root(change_square);
    steps = steps + Number(1);
  }

  /// Whether all forces of the step lie in their cones as they are.
  Mask is_inside() const noexcept {
    Mask inside = Number(0) < Number(1);
    for (int i = 0; i < count_; ++i) {
      const Vector& f = points_[i].next;
      const Number most = frictions_[i] * f.z;
      inside = both(inside, both(f.z >= Number(0), f.x * f.x + f.y * f.y <= most * most));
    }
    return inside;
  }

  /// How far the forces are does not show it alone: with a small rho it does not show which of many are the least ones.
  Mask has_arrived() const noexcept {
    const Number least(1e-11);
    return both(both(eps <= Number(least_eps), far < least), either(is_settled, changed < least));
  }

  Number missing() const noexcept { return square_root(square(z_)); }

  // Numbers of each lane: eps and rho, which its schedule sets; the number of steps; how far forces are from those of
  // v, how much they changed in the last step, and whether all pieces stayed as they are and none is a surface.
  Number eps{}, rho{}, steps{}, far{}, changed{};
  Mask is_settled{};
  static constexpr double direct_rho = 1e4;

 private:
  struct Point {
    LoadedPoint<Number> load;
    ConeProjection<Number> projection;  ///< of v
    Number inside, along, around;       ///< factors of M
    Number share, rho;                  ///< rho / c, and rho
    Vector next;                        ///< the force of the step

    Vector edge(double friction) const noexcept {
      return {friction * projection.x, friction * projection.y, Number(1)};
    }
    Vector across() const noexcept { return {-projection.y, projection.x, Number(0)}; }
  };

  /// Adds a point to H in the lanes in which v is nearest to the surface of its cone. It is left out if there are none:
  /// that changes signs of zeros in the other lanes, which no result shows.
  void add_surface(Point& point, double friction, WrenchMatrix<Number>& H) noexcept {
    const Mask on_surface = opposite(either(point.projection.is_zero, point.projection.is_inside));
    if (!any(on_surface)) return;
    is_curved_ = true;
    const Number zero(0);
    const Number& k = point.projection.roundness;
    const Number along = Number(1 / (1 + friction * friction)) * (point.load.compliance / eps);
    point.along = select(on_surface, along, zero);
    point.around = select(on_surface, point.rho * k / (Number(1) - (Number(1) - point.share) * k), zero);
    H.add(point.along, wrench_of(point.load.arm, point.edge(friction)));
    H.add(point.around, wrench_of(point.load.arm, point.across()));
  }

  /// M times z as it is felt at a point. Never by M as a matrix: its rounding would push forces off the edges of cones.
  Vector forced(const Point& point, double friction, const Wrench& z) const noexcept {
    const Vector felt = felt_at(point.load.arm, z);
    Vector within = point.inside * felt;
    if (!is_curved_) return within;
    const Vector edge = point.edge(friction);
    const Vector across = point.across();
    return within + (point.along * dot(edge, felt)) * edge +
           (point.around * (across.x * felt.x + across.y * felt.y)) * across;
  }

  const double* frictions_;
  int count_;
  Wrench w_{}, z_{};
  bool is_curved_ = false;  ///< whether a point is on the surface of its cone in any lane
  ArrayOf<Point> points_;
};

}  // namespace korvel::contact
