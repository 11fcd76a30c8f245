#include <fmt/format.h>

#include "host/validate/core/require.h"
#include "host/validate/laws/laws.h"

namespace korvel::validate::laws {

namespace {

// To the last bit: none of it reads the root.
std::string root_leaves_what_is_relative_to_it(const Subject& subject) {
  const Specimen robot(subject);
  const Layout shown(robot.size());
  const auto samples = robot.samples(128);
  return Deviations(0).over(samples, [&](std::uint64_t seed, const State& state) {
    State moved = state;
    const State other = random_state(seed + samples.size(), robot.size());
    moved.q.head(6) = other.q.head(6);
    moved.dq.head(6) = other.dq.head(6);
    moved.ddq.head(6) = other.ddq.head(6);
    robot.compute(state);
    const std::vector<float> before = robot.everything();
    robot.compute(moved);
    const std::vector<float> after = robot.everything();
    const auto hold = [&](Result result, const char* what) {
      const auto [first, last] = shown[result];
      const auto part = [&, from = first, to = last](const std::vector<float>& all) {
        return std::vector<float>(all.begin() + from, all.begin() + to);
      };
      require(same_bits(part(before), part(after)), "{} of state {} changes with the root's pose and rates", what,
              seed);
    };
    hold(Result::poses_in_root, "a pose in the root");
    hold(Result::com_in_root, "the centre of mass in the root");
    hold(Result::jacobian, "the jacobian in the root");
    hold(Result::mass_matrix, "the mass matrix");
  });
}

std::string torques_know_no_place_or_heading(const Subject& subject) {
  const Specimen robot(subject);
  Deviations deviations(2 * robot.dynamic());
  const auto samples = robot.samples(256);
  return deviations.over(samples, [&](std::uint64_t seed, const State& state) {
    const State other = random_state(seed + samples.size(), robot.size());
    State moved = state;
    moved.q.head(3) = other.q.head(3);
    moved.q(5) = other.q(5);
    deviations.compare(robot.torques(moved), robot.torques(state), robot.torque_scale(state),
                       {seed, "torques with the root at another place and heading"});
  });
}

// The same root acceleration, put once as the rate of velocity components in turning axes and once without velocity.
std::string uniform_motion_is_rest(const Subject& subject) {
  const Specimen robot(subject);
  Deviations deviations(2 * robot.dynamic());
  return deviations.over(robot.samples(256), [&](std::uint64_t seed, const State& state) {
    State still = state;
    still.dq.head(3).setZero();
    const Vector3d v = state.dq.head(3).cast<double>();
    const Vector3d w = state.dq.segment(3, 3).cast<double>();
    still.ddq.head(3) = (state.ddq.head(3).cast<double>() + w.cross(v)).cast<float>();
    deviations.compare(robot.torques(state), robot.torques(still),
                       robot.torque_scale(state) + robot.torque_scale(still),
                       {seed, "torques with a linear velocity of the root"});
  });
}

std::string free_fall_is_weightless(const Subject& subject) {
  const Specimen robot(subject);
  Deviations deviations(2 * robot.dynamic());
  return deviations.over(robot.samples(256), [&](std::uint64_t seed, const State& state) {
    State falling = at_rest(state);
    const Matrix3d R = affine(state.root_pose()).linear();
    falling.ddq.head(3) = (R.transpose() * Vector3d(0, 0, -gravity)).cast<float>();
    deviations.compare(robot.torques(falling), Joints::Zero(robot.joints()), robot.torque_scale(falling),
                       {seed, "torques in free fall"});
  });
}

const Motion mirror_of_root = (Motion() << 1, -1, 1, -1, 1, -1).finished();  // in the order of coordinates

/// What a mirror across the root's plane of x and z makes of each body and coordinate.
class Mirror {
 public:
  explicit Mirror(const Specimen& robot)
      : twin_(static_cast<std::size_t>(robot.bodies())), signs_(robot.size().coordinates()) {
    const MassMatrix M = robot.mass_matrix(State(robot.size()));
    const Jacobian J = robot.jacobian();
    signs_.head(6) = mirror_of_root;
    for (int b = 1; b < robot.bodies(); ++b) {
      const Vector3d axis = J.col(coordinate_of(b)).head(3);
      for (int c = 1; c < robot.bodies() && twin(b) == 0; ++c) {
        const double along = axis.dot(signs_.segment(3, 3).cwiseProduct(J.col(coordinate_of(c)).head(3)));
        const auto small = [&](double difference) { return std::abs(difference) <= 2 * robot.kinematic(); };
        if (!small(robot.mass(b) - robot.mass(c)) || !small(std::abs(along) - 1) ||
            !small((place(robot, b) - mirrored(place(robot, c))).norm())) {
          continue;
        }
        twin_[static_cast<std::size_t>(b)] = c;
        signs_(coordinate_of(b)) = along > 0 ? 1 : -1;
      }
      if (twin(b) == 0)
        throw NotPossible(fmt::format("not of this robot: body {} has no mirror image at zero joint angles", b));
    }
    const Coordinates roots = robot.inertia_roots();
    const MassMatrix difference = (of_matrix(M) - M).cwiseQuotient(roots * roots.transpose());
    if (difference.cwiseAbs().maxCoeff() > 2 * robot.dynamic()) {
      throw NotPossible("not of this robot: at zero joint angles the mass matrix is no mirror image of itself");
    }
  }

  int twin(int b) const { return twin_[static_cast<std::size_t>(b)]; }
  static Vector3d mirrored(const Vector3d& v) { return {v.x(), -v.y(), v.z()}; }

  /// Of values by coordinate, one column or several.
  template <int columns>
  Eigen::Matrix<double, Eigen::Dynamic, columns> of(
      const Eigen::Matrix<double, Eigen::Dynamic, columns>& values) const {
    Eigen::Matrix<double, Eigen::Dynamic, columns> image = values;
    image.topRows(6) = mirror_of_root.asDiagonal() * values.topRows(6);
    for (int b = 1; b < static_cast<int>(twin_.size()); ++b) {
      image.row(coordinate_of(twin(b))) = signs_(coordinate_of(b)) * values.row(coordinate_of(b));
    }
    return image;
  }
  MassMatrix of_matrix(const MassMatrix& M) const { return of(MassMatrix(of(M).transpose())); }
  State of(const State& state) const {
    State image = at_rest(state);
    image.q = of(Coordinates(state.q.cast<double>())).cast<float>();
    image.dq = of(Coordinates(state.dq.cast<double>())).cast<float>();
    image.ddq = of(Coordinates(state.ddq.cast<double>())).cast<float>();
    return image;
  }

 private:
  static Vector3d place(const Specimen& robot, int b) { return robot.pose_in_root(b) * robot.com(b); }

  std::vector<int> twin_;
  Coordinates signs_;
};

std::string mirror_images(const Subject& subject) {
  const Specimen robot(subject);
  const Mirror mirror(robot);
  Deviations places(2 * robot.kinematic());
  Deviations deviations(2 * robot.dynamic());
  const MassMatrix inertias = robot.inertia_roots() * robot.inertia_roots().transpose();
  return deviations.over(robot.samples(128), [&](std::uint64_t seed, State state) {
    state.wrenches.setZero();
    const MassMatrix M = robot.mass_matrix(state);
    std::vector<Vector3d> origins(static_cast<std::size_t>(robot.bodies()));
    for (int b = 1; b < robot.bodies(); ++b) origins[static_cast<std::size_t>(b)] = robot.pose_in_root(b).translation();
    Coordinates torques = Coordinates::Zero(M.cols());
    joints_of(torques) = robot.torques(state);

    const State image = mirror.of(state);
    deviations.compare(robot.mass_matrix(image), mirror.of_matrix(M), inertias,
                       {seed, "mass matrix of the mirror image"});
    for (int b = 1; b < robot.bodies(); ++b) {
      places.compare(robot.pose_in_root(mirror.twin(b)).translation(),
                     Mirror::mirrored(origins[static_cast<std::size_t>(b)]), robot.reach(),
                     {seed, "origin of the mirror image of body", b});
    }
    deviations.compare(robot.torques(image), mirror.of(torques).tail(robot.joints()), robot.torque_scale(state),
                       {seed, "torques of the mirror image"});
  });
}

}  // namespace

Checks symmetries() {
  return {law("laws.root-is-relative", "Poses, jacobian and mass matrix in the root do not know where the root is.",
              root_leaves_what_is_relative_to_it),
          law("laws.place-and-heading", "Torques do not depend on the root's place and heading.",
              torques_know_no_place_or_heading),
          law("laws.uniform-motion",
              "A root acceleration is the rate of the velocity's components: linear velocity needs no other torques.",
              uniform_motion_is_rest),
          law("laws.free-fall", "A robot that falls freely needs no torques: gravity is 9.81 m/s^2 down.",
              free_fall_is_weightless),
          law("laws.mirror-images", "A posture and its mirror image have mirrored poses, mass matrices and torques.",
              mirror_images)};
}

}  // namespace korvel::validate::laws
