#pragma once

/// Computes how robots stand, with one state in each lane: the text of `stance` for any number.

#include <limits>

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

/// Makes the rotation of a pose orthonormal to the last digit. In single precision the forces would depend on the
/// heading. The rotation is that of its quaternion, taken from w if the trace is positive, else from the largest of the
/// others.
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
  const SoleEntry* entry;
  PoseT<Number> pose_world;       ///< of its body, from the root's origin
  Vector3T<Number> centre_world;  ///< from the root's origin
  Vector3T<Number> lowest_body;   ///< its lowest corner
  Number lowest;                  ///< height of that above the root's origin
  Number share;                   ///< in the load, from 0 to 1; 0 without contact
  WrenchT<Number> load_world;     ///< on its body about the body's origin [N], [N m]; zero without contact
  GroundVector<Number> pressure;  ///< as in SoleLoad, from the root's origin
  Number friction;                ///< as in SoleLoad

  MaskOf<Number> stands() const noexcept { return share > Number(0); }
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

/// Computes how robots stand. Call place() for every sole and set its share, then prepare(), then NearestForces for the
/// loads, then conclude(). All is in world axes, relative to the root's origin.
template <typename Number>
class StanceInLanes {
 public:
  using Vector = Vector3T<Number>;
  using Mask = MaskOf<Number>;

  /// The soles must outlive it.
  explicit StanceInLanes(const SoleTable& table) : table_(table), from_zmp_(table.frictions.size()) {
    loads.points.resize(table.frictions.size());
    for (const SoleEntry& entry : table.soles) soles.emplace_back().entry = &entry;
  }

  /// Puts the body of a sole at its pose.
  void place(SoleInLanes<Number>& sole, const PoseT<Number>& pose_world) noexcept {
    const auto number_of = [](const Vector3T<double>& v) { return Vector{Number(v.x), Number(v.y), Number(v.z)}; };
    sole.pose_world = pose_world;
    sole.centre_world = rotated(pose_world, number_of(sole.entry->centre_body)) + pose_world.t;
    sole.lowest = Number(std::numeric_limits<double>::infinity());
    for (std::size_t c = sole.entry->first_corner; c < sole.entry->end_corner; ++c) {
      const Vector body = number_of(table_.corners_body[c]);
      Vector& corner = loads.points[c].arm;
      corner = rotated(pose_world, body) + pose_world.t;
      sole.lowest_body = select(corner.z < sole.lowest, body, sole.lowest_body);
      sole.lowest = smaller(corner.z, sole.lowest);
    }
  }

  void prepare(const MotionOnGround<Number>& motion) noexcept {
    const Number zero(0);
    const Number one(1);
    const Vector none{zero, zero, zero};
    weight_ = motion.weight;
    // The point about which moments are taken is the mean of the centres. Forces act where the corners are.
    Number standing(0);
    Number bearing(0);
    Number heights(0);
    Vector last = none;
    origin_ = none;
    for (SoleInLanes<Number>& sole : soles) {
      standing = standing + select(sole.stands(), one, zero);
      origin_ = origin_ + select(sole.stands(), sole.centre_world, none);
      for (std::size_t c = sole.entry->first_corner; c < sole.entry->end_corner; ++c) {
        const Vector& corner = loads.points[c].arm;
        const Mask bears = sole.stands() && corner.z <= sole.lowest + Number(motion.level);
        loads.points[c].compliance = select(bears, one, zero);
        bearing = bearing + loads.points[c].compliance;
        heights = heights + select(bears, corner.z, zero);
        last = select(bears, corner, last);
      }
    }
    is_in_air_ = standing <= zero;
    standing = larger(standing, one);
    origin_ = one / standing * origin_;

    // Below the centre of mass where hardly anything is required.
    const auto& [force, moment] = motion.required;
    const Number height = select(is_in_air_, motion.ground, heights / larger(bearing, one));
    const Number least(least_load * weight_);
    const Mask is_defined = force.z >= least || force.z <= -least;
    const Number per_force = one / select(is_defined, force.z, one);
    zmp = select(is_defined, {per_force * (height * force.x - moment.y), per_force * (height * force.y + moment.x), {}},
                 in_ground(motion.com));

    const GroundVector<Number> slope = slope_of_coefficients();
    for (const SoleInLanes<Number>& sole : soles) {
      const Number coefficient = one / standing - dot(to_centre(sole), slope);
      const Number compliance = smaller(larger(coefficient * sole.share, Number(least_compliance)), one);
      for (std::size_t c = sole.entry->first_corner; c < sole.entry->end_corner; ++c) {
        LoadedPoint<Number>& point = loads.points[c];
        const Mask bears = point.compliance > zero;
        // A corner that does not bear coincides with one that does.
        from_zmp_[c] = in_ground(select(bears, point.arm, last)) - zmp;
        point.arm = Number(1 / moment_length) * (point.arm - origin_);
        point.compliance = select(bears, compliance, zero);
      }
    }
    margin = support_margin(from_zmp_);
    margin.distance = select(is_in_air_, zero, margin.distance);
    margin.excess = select(is_in_air_, in_ground(none), margin.excess);
    loads.set({Number(1 / weight_) * force, Number(1 / (weight_ * moment_length)) * (moment - cross(origin_, force))});
  }

  void conclude() noexcept {
    const Number zero(0);
    const Number to_newton = Number(weight_) * loads.size;
    for (SoleInLanes<Number>& sole : soles) {
      WrenchT<Number> sum{};
      GroundVector<Number> arms{};
      for (std::size_t c = sole.entry->first_corner; c < sole.entry->end_corner; ++c) {
        const LoadedPoint<Number>& point = loads.points[c];
        sum = sum + wrench_of(point.arm, point.force);
        arms = arms + point.force.z * in_ground(point.arm);
      }
      const Vector force = to_newton * sum.force;
      sole.load_world = {force,
                         Number(moment_length) * to_newton * sum.moment + cross(origin_ - sole.pose_world.t, force)};
      const Mask is_loaded = force.z > Number(least_load * weight_);
      const Number per_force = Number(1) / select(is_loaded, sum.force.z, Number(1));
      sole.pressure = select(is_loaded, in_ground(origin_) + Number(moment_length) * per_force * arms,
                             in_ground(sole.centre_world));
      const GroundVector<Number> tangential = in_ground(sum.force);
      sole.friction = select(is_loaded, per_force * square_root(dot(tangential, tangential)), zero);
    }
    residual = loads.residual();

    const auto number = [](Verdict of) { return Number(static_cast<double>(of)); };
    const Number f_z = loads.size * loads.unit.force.z;
    const Mask tips = -margin.distance * f_z > Number(feasible_residual * moment_length);
    const Number reason = select(f_z < Number(feasible_residual), number(Verdict::needs_pull),
                                 select(tips, number(Verdict::tips), number(Verdict::slips)));
    verdict = select(residual <= Number(feasible_residual),
                     select(is_in_air_, number(Verdict::in_flight), number(Verdict::stands)),
                     select(is_in_air_, number(Verdict::nothing_bears), reason));
  }

  /// Returns the place of a corner; call it after prepare().
  Vector place_of(std::size_t c) const noexcept { return Number(moment_length) * loads.points[c].arm + origin_; }

  std::vector<SoleInLanes<Number>> soles;
  Loads<Number> loads;
  // These are the results of Stance, the verdict as its number.
  GroundVector<Number> zmp{};
  SupportMargin<Number> margin{};
  Number residual{}, verdict{};

 private:
  /// Returns the vector from the mean of the centres in contact to that of a sole.
  GroundVector<Number> to_centre(const SoleInLanes<Number>& sole) const noexcept {
    return in_ground(select(sole.stands(), sole.centre_world - origin_, Vector{}));
  }

  /// Compliances follow `stance`. The coefficients x of the centres with the sum 1 that bring their combination nearest
  /// to the zero moment point, with a millimetre of regularisation, are x_i = 1/n - d_i' (S + lambda)^-1 m, where d_i
  /// leads to a centre from the mean of all, S is the sum of d_i d_i', and m leads from the point to that mean. This is
  /// (S + lambda)^-1 m.
  GroundVector<Number> slope_of_coefficients() const noexcept {
    constexpr double lambda = 1e-6;
    Number xx(lambda);
    Number xy(0);
    Number yy(lambda);
    for (const SoleInLanes<Number>& sole : soles) {
      const GroundVector<Number> d = to_centre(sole);
      xx = xx + d.x * d.x;
      xy = xy + d.x * d.y;
      yy = yy + d.y * d.y;
    }
    const GroundVector<Number> m = in_ground(origin_) - zmp;
    return Number(1) / (xx * yy - xy * xy) * GroundVector<Number>{yy * m.x - xy * m.y, xx * m.y - xy * m.x, {}};
  }

  const SoleTable& table_;
  std::vector<GroundVector<Number>> from_zmp_;  ///< to the corners
  double weight_ = 0;
  Mask is_in_air_{};
  Vector origin_{};
};

}  // namespace korvel::contact
