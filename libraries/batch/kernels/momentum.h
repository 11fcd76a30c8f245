#pragma once

#include "batch/kernels/dynamics.h"
#include "batch/kernels/kinematics.h"
#include "batch/kernels/mass.h"
#include "metapod/models/gravity.h"

namespace korvel::batch {

template <int n>
using VectorInLanes = metapod::Spatial::Vector3T<PackOf<n>>;
template <int n>
using BodyMotionInLanes = metapod::Spatial::MotionT<PackOf<n>>;

template <int n>
void write_motion(const Output& output, const Block<n>& block, const BodyMotionInLanes<n>& m) noexcept {
  write<n>(output, block, 0, m.w.x, m.w.y, m.w.z, m.v.x, m.v.y, m.v.z);
}

template <int n>
BodyMotionInLanes<n> scaled(const PackOf<n>& k, const BodyMotionInLanes<n>& m) noexcept {
  return {k * m.w, k * m.v};
}

/// Turns vectors of the world into the root's axes.
template <int n>
auto root_rotation(const MotionInLanes<n>& motion) noexcept {
  using Root = metapod::NodeOf<StatesInLanes<n>, 0>;
  typename Root::Joint joint;
  joint.jcalcPos(motion.angles.template of<Root>(motion.q));
  return (joint.Xj * Root::Xt).E;
}

/// The matrix consists of the rows of the root in the mass matrix, moved to the centre of mass and turned into the
/// world. The bias is the force on the root for accelerations of zero, less its weight.
template <int n>
void momentum(const Masses& masses, const Stretch& states, const MotionInput& given,
              const MomentumResults& wanted) noexcept {
  using Vector = VectorInLanes<n>;
  using Motion = BodyMotionInLanes<n>;
  const bool wants_rate = wanted.rate.data != nullptr;
  const MotionInput unaccelerated{given.q, given.dq, {}, {}, nullptr, 0, nullptr};
  PackedMass<n> mass;
  PackOf<n> forces[coordinate_count];
  PackOf<n> ddq[coordinate_count];
  SixRows<n> matrix;
  for_each_motion<n>(states, unaccelerated, [&](const auto& block, const auto& motion) {
    compute_mass<n>(masses, motion.q, motion.angles, mass);
    const auto R = root_rotation<n>(motion);
    const auto entry = [&](int row, int column) { return mass.values[mass_places.row(row)[column]]; };
    const Vector com = Vector{entry(5, 1), entry(3, 2), entry(4, 0)} / entry(0, 0);
    const auto about_com = [&](const Vector& force, const Vector& moment) -> Motion {
      return {R.applyTransposed(moment - cross(com, force)), R.applyTransposed(force)};
    };
    Motion bias{};
    if (wants_rate || wanted.bias.data != nullptr) {
      compute_dynamics<n>(masses, motion, forces);
      bias = about_com({forces[0], forces[1], forces[2]}, {forces[3], forces[4], forces[5]});
      bias.v.z = bias.v.z - PackOf<n>(metapod::minus_g.v.z) * entry(0, 0);
    }
    if (wants_rate) read_numbers<n, coordinate_count>(given.ddq, block, ddq);
    Motion sum{};
    Motion rate = bias;
    for (int d = 0; d < coordinate_count; ++d) {
      const Motion column = about_com({entry(0, d), entry(1, d), entry(2, d)}, {entry(3, d), entry(4, d), entry(5, d)});
      matrix.put_column(d, column);
      sum = sum + scaled<n>(motion.dq[d], column);
      if (wants_rate) rate = rate + scaled<n>(ddq[d], column);
    }
    write_numbers<n>(wanted.matrix, block, 0, jacobian_numbers, matrix.values);
    write_motion<n>(wanted.momentum, block, sum);
    write_motion<n>(wanted.rate, block, rate);
    write_motion<n>(wanted.bias, block, bias);
  });
}

/// Computes the poses of all bodies except the root in the root, and the jacobian.
template <int n>
[[gnu::flatten]] void compute_poses(const Masses& masses, const MotionInLanes<n>& motion,
                                    metapod::Spatial::PoseT<PackOf<n>>* poses_root,
                                    JacobianRows<n>& jacobian) noexcept {
  StatesInLanes<n> model(masses);
  SumOfMoments<n> moments;
  place_bodies<n>(model, motion.q, motion.angles, jacobian, moments, [&](int body, const auto& root_to_body) {
    poses_root[body] = metapod::Spatial::inverse<PackOf<n>>(root_to_body);
  });
}

/// Without velocities no bias is wanted.
template <int n>
void points(const Masses& masses, const Stretch& states, const MotionInput& given,
            const PointResults& wanted) noexcept {
  using Vector = VectorInLanes<n>;
  using Motion = BodyMotionInLanes<n>;
  JacobianRows<n> of_joints;
  metapod::Spatial::PoseT<PackOf<n>> poses_root[body_count];
  poses_root[0] = identity_pose<n>();
  for_each_motion<n>(states, given, [&](const auto& block, const auto& motion) {
    compute_poses<n>(masses, motion, poses_root, of_joints);
    const auto R = root_rotation<n>(motion);
    for (const Point* point = wanted.first; point != wanted.first + wanted.count; ++point) {
      const auto& pose = poses_root[point->body];
      const Vector in_body{PackOf<n>(point->place[0]), PackOf<n>(point->place[1]), PackOf<n>(point->place[2])};
      const Vector p = Vector{dot(pose.row0, in_body), dot(pose.row1, in_body), dot(pose.row2, in_body)} + pose.t;
      SixRows<n> jacobian{};
      // The velocity of the body in the root's axes, about the root's origin, and its acceleration.
      const auto* dq = motion.dq;
      Motion V{{dq[3], dq[4], dq[5]}, {dq[0], dq[1], dq[2]}};
      Motion A{};
      const int last = last_coordinate_of(point->body);
      for (int d = 0; d <= last; ++d) {
        if (mass_places.row(d)[last] == mass_entry_count) continue;  // does not move the body
        const Motion column = of_joints.column(d);
        jacobian.put_column(d, {R.applyTransposed(column.w), R.applyTransposed(column.v + cross(column.w, p))});
        if (d < first_joint) continue;
        const Motion of_joint = scaled<n>(dq[d], column);
        V = V + of_joint;
        A = A + cross(V, of_joint);
      }
      write_numbers<n>(point->jacobian, block, 0, jacobian_numbers, jacobian.values);
      write_motion<n>(
          point->bias, block,
          {R.applyTransposed(A.w), R.applyTransposed(A.v + cross(A.w, p) + cross(V.w, V.v + cross(V.w, p)))});
    }
  });
}

}  // namespace korvel::batch
