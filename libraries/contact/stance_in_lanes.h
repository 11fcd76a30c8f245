#pragma once

/// How robots stand, with one state in each lane: the text of `stance` for any number.

#include "contact/nearest_forces.h"
#include "contact/sole_table.h"
#include "contact/support_margin.h"
#include "contact/verdict.h"
#include "metapod/spatial/pose.h"

namespace korvel::contact {

template <typename Number>
using PoseT = metapod::Spatial::PoseT<Number>;

template <typename Number>
Vector3T<Number> rotated(const PoseT<Number>& pose, const Vector3T<Number>& v) noexcept {
  return {dot(pose.row0, v), dot(pose.row1, v), dot(pose.row2, v)};
}
template <typename Number>
Vector3T<Number> rotated_back(const PoseT<Number>& pose, const Vector3T<Number>& v) noexcept {
  return v.x * pose.row0 + v.y * pose.row1 + v.z * pose.row2;
}

/// A pose in a frame whose rotation is that of another pose: its origin stays the same.
template <typename Number>
PoseT<Number> turned(const PoseT<Number>& by, const PoseT<Number>& pose) noexcept {
  return {rotated_back(pose, by.row0), rotated_back(pose, by.row1), rotated_back(pose, by.row2), rotated(by, pose.t)};
}

/// A pose with its rotation orthonormal to the last digit: by single precision's the forces would depend on the
/// heading. The rotation is that of its quaternion, taken from w if the trace is positive, else
/// from the largest of the others.
template <typename Number>
PoseT<Number> rigid(const PoseT<Number>& pose) noexcept {
  const auto& [x, y, z, t] = pose;
  const Number one(1);
  const Number trace = x.x + y.y + z.z;
  const auto is_w = trace > Number(0);
  const auto is_z = z.z > larger(x.x, y.y);
  const auto is_y = y.y > x.x;
  const auto chosen = [&](const Number& by_w, const Number& by_x, const Number& by_y, const Number& by_z) {
    return select(is_w, by_w, select(is_z, by_z, select(is_y, by_y, by_x)));
  };
  const Number qw = chosen(one + trace, z.y - y.z, x.z - z.x, y.x - x.y);
  const Number qx = chosen(z.y - y.z, one + x.x - y.y - z.z, y.x + x.y, x.z + z.x);
  const Number qy = chosen(x.z - z.x, y.x + x.y, one + y.y - x.x - z.z, z.y + y.z);
  const Number qz = chosen(y.x - x.y, x.z + z.x, z.y + y.z, one + z.z - x.x - y.y);
  const Number k = Number(2) / (qw * qw + qx * qx + qy * qy + qz * qz);
  return {{one - k * (qy * qy + qz * qz), k * (qx * qy - qw * qz), k * (qx * qz + qw * qy)},
          {k * (qx * qy + qw * qz), one - k * (qx * qx + qz * qz), k * (qy * qz - qw * qx)},
          {k * (qx * qz - qw * qy), k * (qy * qz + qw * qx), one - k * (qx * qx + qy * qy)},
          t};
}

/// A sole, and the ground's effect on it.
template <typename Number>
struct SoleInLanes {
  PoseT<Number> pose_world;       ///< of its body, from the root's origin
  Vector3T<Number> centre_world;  ///< from the root's origin
  Vector3T<Number> lowest_body;   ///< its lowest corner
  Number lowest;                  ///< height of that above the root's origin
  MaskOf<Number> contact;
  Number share;                   ///< in the load, from 0 to 1; no matter without contact
  WrenchT<Number> load_world;     ///< on its body about the body's origin [N], [N m]; zero without contact
  GroundVector<Number> pressure;  ///< as in SoleLoad, from the root's origin
  Number friction;                ///< as in SoleLoad
};

/// The wrench that motions require about the root's origin [N], [N m], and the ground that they have. World axes, from
/// the root's origin.
template <typename Number>
struct MotionOnGround {
  WrenchT<Number> required;
  Vector3T<Number> com;
  Number ground;  ///< height [m]
  double weight;  ///< [N]
  double level;   ///< as in StanceProblem
};

/// How robots stand. Call place() for every sole and set its contact and its share, then prepare(), then NearestForces
/// for loads(), then conclude(). World axes, from the root's origin.
template <typename Number>
class StanceInLanes {
 public:
  using Vector = Vector3T<Number>;
  using Mask = MaskOf<Number>;

  /// For soles that outlive it.
  explicit StanceInLanes(const SoleTable& table)
      : table_(table),
        soles_(table.sole_count),
        corners_(table.corner_count),
        points_(table.corner_count),
        in_ground_(table.corner_count) {}

  SoleInLanes<Number>& sole(int i) noexcept { return soles_[i]; }

  void place(int i, const PoseT<Number>& pose_world) noexcept {
    SoleInLanes<Number>& s = sole(i);
    const SoleEntry& entry = table_.soles[i];
    s.pose_world = pose_world;
    s.centre_world = at(pose_world, entry.centre_body);
    for (int c = entry.first_corner; c < entry.end_corner; ++c) {
      corner(c) = at(pose_world, table_.corners_body[c]);
      const Number& z = corner(c).z;
      const Vector body = number_of(table_.corners_body[c]);
      if (c == entry.first_corner) {
        s.lowest = z;
        s.lowest_body = body;
      }
      const Mask is_lower = z < s.lowest;
      s.lowest = select(is_lower, z, s.lowest);
      s.lowest_body = chosen(is_lower, body, s.lowest_body);
    }
  }

  void prepare(const MotionOnGround<Number>& motion) noexcept {
    const Number zero(0);
    weight_ = motion.weight;
    const auto bears = [&](int i, int c) {
      return both(sole(i).contact, corner(c).z <= sole(i).lowest + Number(motion.level));
    };
    // The point about which moments are taken is the mean of the centres. Forces act where the corners are.
    Number standing(0);
    Number bearing(0);
    Number heights(0);
    origin_ = {zero, zero, zero};
    Vector first = origin_;
    for_soles([&](int i, const SoleEntry& entry) {
      standing = standing + select(sole(i).contact, Number(1), zero);
      origin_ = origin_ + chosen(sole(i).contact, sole(i).centre_world, {zero, zero, zero});
      for (int c = entry.first_corner; c < entry.end_corner; ++c) {
        const Mask does = bears(i, c);
        first = chosen(both(does, bearing <= zero), corner(c), first);
        bearing = bearing + select(does, Number(1), zero);
        heights = heights + select(does, corner(c).z, zero);
      }
    });
    is_in_air_ = standing <= zero;
    const Number count = larger(standing, Number(1));
    origin_ = (Number(1) / count) * origin_;
    set_zero_moment_point(motion, select(is_in_air_, motion.ground, heights / larger(bearing, Number(1))));

    // A corner that does not bear coincides with one that does.
    for_soles([&](int i, const SoleEntry& entry) {
      for (int c = entry.first_corner; c < entry.end_corner; ++c) {
        const Vector place = chosen(bears(i, c), corner(c), first);
        in_ground_[c] = {place.x - zmp.x, place.y - zmp.y};
      }
    });
    margin = support_margin(in_ground_.data(), table_.corner_count);
    margin.distance = select(is_in_air_, zero, margin.distance);
    margin.excess = {select(is_in_air_, zero, margin.excess.x), select(is_in_air_, zero, margin.excess.y)};

    required = {motion.required.force, motion.required.moment - cross(origin_, motion.required.force)};
    const WrenchT<Number> in_weights{Number(1 / weight_) * required.force,
                                     Number(1 / (weight_ * moment_length)) * required.moment};
    size_ = square_root(square(in_weights));
    const Number scale = Number(1) / select(size_ > zero, size_, Number(1));
    load_ = {scale * in_weights.force, scale * in_weights.moment};
    set_points(count, bears);
  }

  LoadsInLanes<Number> loads() noexcept { return {load_, points_.data()}; }

  void conclude() noexcept {
    const Number zero(0);
    WrenchT<Number> missing = load_;
    const Number to_newton = Number(weight_) * size_;
    for_soles([&](int i, const SoleEntry& entry) {
      SoleInLanes<Number>& s = sole(i);
      s.load_world = {{zero, zero, zero}, {zero, zero, zero}};
      GroundVector<Number> moment{zero, zero};
      for (int c = entry.first_corner; c < entry.end_corner; ++c) {
        const LoadedPoint<Number>& p = point(c);
        missing = missing - wrench_of(p.arm, p.force);
        const Vector force = to_newton * p.force;
        s.load_world = s.load_world + wrench_of(corner(c) - s.pose_world.t, force);
        moment = {moment.x + force.z * corner(c).x, moment.y + force.z * corner(c).y};
      }
      const Vector& force = s.load_world.force;
      const Mask is_loaded = force.z > Number(least_load * weight_);
      const Number divisor = select(is_loaded, force.z, Number(1));
      s.pressure = {select(is_loaded, moment.x / divisor, s.centre_world.x),
                    select(is_loaded, moment.y / divisor, s.centre_world.y)};
      s.friction = select(is_loaded, square_root(force.x * force.x + force.y * force.y) / divisor, zero);
    });
    residual = size_ * square_root(square(missing));

    const auto number = [](Verdict of) { return Number(static_cast<double>(of)); };
    const Mask is_borne = residual <= Number(feasible_residual);
    const Number& f_z = required.force.z;
    const Mask is_pulled = f_z < Number(feasible_residual * weight_);
    const Mask tips = -margin.distance * f_z > Number(feasible_residual * weight_ * moment_length);
    const Number reason =
        select(is_pulled, number(Verdict::needs_pull), select(tips, number(Verdict::tips), number(Verdict::slips)));
    verdict = select(is_borne, select(is_in_air_, number(Verdict::in_flight), number(Verdict::stands)),
                     select(is_in_air_, number(Verdict::nothing_bears), reason));
  }

  // These are the results of Stance, the verdict as its number.
  GroundVector<Number> zmp{};
  SupportMargin<Number> margin{};
  WrenchT<Number> required{};
  Number residual{}, verdict{};

  const Vector& corner(int c) const noexcept { return corners_[c]; }
  const LoadedPoint<Number>& point(int c) const noexcept { return points_[c]; }

 private:
  static Vector number_of(const Vector3T<double>& v) noexcept { return {Number(v.x), Number(v.y), Number(v.z)}; }
  static Vector at(const PoseT<Number>& pose, const Vector3T<double>& point_body) noexcept {
    return rotated(pose, number_of(point_body)) + pose.t;
  }
  static Vector chosen(const Mask& where, const Vector& a, const Vector& b) noexcept {
    return {select(where, a.x, b.x), select(where, a.y, b.y), select(where, a.z, b.z)};
  }

  Vector& corner(int c) noexcept { return corners_[c]; }

  template <typename Work>
  void for_soles(const Work& work) noexcept {
    for (int i = 0; i < table_.sole_count; ++i) work(i, table_.soles[i]);
  }

  /// At a height; below the centre of mass where hardly anything is required.
  void set_zero_moment_point(const MotionOnGround<Number>& motion, const Number& height) noexcept {
    const auto& [force, moment] = motion.required;
    const Number least(least_load * weight_);
    const Mask is_defined = either(force.z >= least, force.z <= -least);
    const Number divisor = select(is_defined, force.z, Number(1));
    zmp = {select(is_defined, (height * force.x - moment.y) / divisor, motion.com.x),
           select(is_defined, (height * force.y + moment.x) / divisor, motion.com.y)};
  }

  /// Compliances follow `stance`. The coefficients x of the centres with the sum 1 that bring their combination nearest
  /// to the zero moment point, with a millimetre of regularisation, are x_i = 1/n - d_i' (S + lambda)^-1 m, where d_i
  /// leads to a centre from the mean of all, S is the sum of d_i d_i', and m leads from the point to that mean. The
  /// determinant of S is the sum of the squares of d_i x d_j, so that nothing cancels where the centres lie on a line.
  template <typename Bears>
  void set_points(const Number& count, const Bears& bears) noexcept {
    const Number zero(0);
    const Number lambda(1e-6);
    const auto cross_of = [](const auto& a, const auto& b) { return a.x * b.y - a.y * b.x; };
    const auto arm_of = [&](int i) -> GroundVector<Number> {
      const Vector d = chosen(sole(i).contact, sole(i).centre_world - origin_, {zero, zero, zero});
      return {d.x, d.y};
    };
    const GroundVector<Number> m{origin_.x - zmp.x, origin_.y - zmp.y};
    Number trace(0);
    Number crosses(0);
    for (int i = 0; i < table_.sole_count; ++i) {
      const GroundVector<Number> d = arm_of(i);
      trace = trace + (d.x * d.x + d.y * d.y);
      for (int j = 0; j < i; ++j) crosses = crosses + cross_of(d, arm_of(j)) * cross_of(d, arm_of(j));
    }
    const Number determinant = lambda * lambda + lambda * trace + crosses;
    for_soles([&](int i, const SoleEntry& entry) {
      const GroundVector<Number> d = arm_of(i);
      Number along = lambda * (d.x * m.x + d.y * m.y);
      for (int j = 0; j < table_.sole_count; ++j) along = along + cross_of(d, arm_of(j)) * cross_of(m, arm_of(j));
      const Number nearness = Number(1) / count - along / determinant;
      const Number compliance = smaller(larger(nearness * sole(i).share, Number(least_compliance)), Number(1));
      for (int c = entry.first_corner; c < entry.end_corner; ++c) {
        LoadedPoint<Number>& p = points_[c];
        p.arm = Number(1 / moment_length) * (corner(c) - origin_);
        p.compliance = select(bears(i, c), compliance, zero);
      }
    });
  }

  SoleTable table_;
  ArrayOf<SoleInLanes<Number>> soles_;
  ArrayOf<Vector> corners_;
  ArrayOf<LoadedPoint<Number>> points_;
  ArrayOf<GroundVector<Number>> in_ground_;
  double weight_ = 0;
  Mask is_in_air_{};
  Vector origin_{};
  Number size_{};
  WrenchT<Number> load_{};
};

}  // namespace korvel::contact
