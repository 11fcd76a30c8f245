#include "motion/trajectory.h"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <Eigen/Geometry>
#include <cmath>
#include <functional>
#include <random>

#include "host/robot/module.h"
#include "host/robot/robot.h"
#include "motion/spline.h"
#include "tests/host/support/files.h"

namespace korvel::host {
namespace {

using Eigen::AngleAxisd;
using Eigen::Quaterniond;
using Eigen::Vector3d;

const double pi = std::acos(-1.0);

/// A motion in closed form: the root turned about an axis that stands still in it, and one joint.
struct ClosedForm {
  const char* name;
  Vector3d axis{0, 0, 1};                                                                       ///< of unit length
  std::function<Vector3d(double)> angle = [](double) -> Vector3d { return Vector3d::Zero(); };  ///< and its derivatives
  std::function<Vector3d(double)> height = angle;                                               ///< of the root
  std::function<Vector3d(double)> knee = angle;
};

/// The ways in which a file may give the orientation.
enum class Orientation { angles, flipped_angles, quaternion };

/// a + b t, a + b t + c t^2 / 2, b sin(w t): with both derivatives.
Vector3d linear(double a, double b, double t) { return {a + b * t, b, 0}; }
Vector3d falling(double t) { return {1 - 9.81 * t * t / 2, -9.81 * t, -9.81}; }
Vector3d swing(double b, double w, double t) {
  return {b * std::sin(w * t), b * w * std::cos(w * t), -b * w * w * std::sin(w * t)};
}

class Trajectories : public testing::Test {
 protected:
  System system_ = Module(KORVEL_MODULE).create();
  const std::vector<std::string> joints_ = joint_names(*system_);
  const unsigned long knee_ = system_->getJointAngleId("LKneePitch");

  /// The file of a motion: `times` is how each sample is dated, `digits` how numbers are written.
  std::string file(const ClosedForm& motion, const std::vector<double>& times, Orientation orientation,
                   double offset = 0) const {
    std::string text = orientation == Orientation::quaternion ? "time,z,LKneePitch,qw,qx,qy,qz\n"
                                                              : "time,z,LKneePitch,roll,pitch,yaw\n";
    int sign = 1;
    for (const double t : times) {
      // Whole microseconds, so that an offset can be written before them.
      const auto micros = std::llround(t * 1e6);
      text += fmt::format("{}.{:06},{},{},", static_cast<long long>(offset) + micros / 1000000, micros % 1000000,
                          motion.height(t)[0], motion.knee(t)[0]);
      const Quaterniond q(AngleAxisd(motion.angle(t)[0], motion.axis));
      if (orientation == Orientation::quaternion) {
        sign = -sign;
        text += fmt::format("{},{},{},{}\n", sign * q.w(), sign * q.x(), sign * q.y(), sign * q.z());
        continue;
      }
      const Eigen::Matrix3d R = q.toRotationMatrix();
      double roll = std::atan2(R(2, 1), R(2, 2));
      double pitch = std::asin(std::clamp(-R(2, 0), -1.0, 1.0));
      double yaw = std::atan2(R(1, 0), R(0, 0));
      if (orientation == Orientation::flipped_angles) {
        // The other three angles of the same orientation.
        roll = std::remainder(roll + pi, 2 * pi);
        pitch = pi - pitch;
        yaw = std::remainder(yaw + pi, 2 * pi);
      }
      text += fmt::format("{},{},{}\n", roll, pitch, yaw);
    }
    return text;
  }

  Eigen::ArrayXf torques(const Instant& instant) {
    run_cycle(*system_, instant);
    const tesk::FloatRange all = system_->getJointAnglesTorque();
    return Eigen::Map<const Eigen::ArrayXf>(all.begin(), static_cast<Eigen::Index>(all.size()));
  }

  /// Returns the robot's inputs at a time, from the closed form.
  Instant exact(const ClosedForm& motion, double t) const {
    const Vector3d angle = motion.angle(t);
    const Vector3d height = motion.height(t);
    const Vector3d knee = motion.knee(t);
    const Eigen::Matrix3d R = AngleAxisd(angle[0], motion.axis).toRotationMatrix();
    const Vector3d w = angle[1] * motion.axis;
    const Vector3d v = R.transpose() * Vector3d(0, 0, height[1]);
    const Vector3d dv = R.transpose() * Vector3d(0, 0, height[2]) - w.cross(v);
    const Vector3d dw = angle[2] * motion.axis;
    const auto six = [](const Vector3d& a, const Vector3d& b) -> QZ::Math::Velocity6D {
      const Eigen::Vector3f f = a.cast<float>();
      const Eigen::Vector3f g = b.cast<float>();
      return {f.x(), f.y(), f.z(), g.x(), g.y(), g.z()};
    };
    const Eigen::Matrix3f r = R.cast<float>();
    QZ::Math::Transform pose;
    pose.r00 = r(0, 0), pose.r01 = r(0, 1), pose.r02 = r(0, 2);
    pose.r10 = r(1, 0), pose.r11 = r(1, 1), pose.r12 = r(1, 2);
    pose.r20 = r(2, 0), pose.r21 = r(2, 1), pose.r22 = r(2, 2), pose.tz = static_cast<float>(height[0]);
    const auto of_knee = [&](double value) -> Eigen::ArrayXf {
      Eigen::ArrayXf all = Eigen::ArrayXf::Zero(static_cast<Eigen::Index>(joints_.size()));
      all[static_cast<Eigen::Index>(knee_)] = static_cast<float>(value);
      return all;
    };
    return {{pose, six(v, w), six(dv, dw)}, of_knee(knee[0]), of_knee(knee[1]), of_knee(knee[2])};
  }

  /// The largest deviation of a torque [N m] away from the ends.
  double deviation(const ClosedForm& motion, const std::vector<double>& times, Orientation orientation,
                   double offset = 0) {
    const TemporaryDirectory directory;
    const Trajectory trajectory(
        read_motion(write(directory / "motion.csv", file(motion, times, orientation, offset)), joints_));
    constexpr std::size_t margin = 15;
    double largest = 0;
    for (std::size_t s = margin; s + margin < times.size(); ++s) {
      const Eigen::ArrayXf seen = torques(trajectory.at(static_cast<Eigen::Index>(s)));
      const Eigen::ArrayXf expected = torques(exact(motion, times[s]));
      largest = std::max(largest, static_cast<double>((seen - expected).abs().maxCoeff()));
    }
    return largest;
  }
};

std::vector<double> even_times(double step, double duration) {
  std::vector<double> times;
  for (int i = 0; i * step <= duration; ++i) times.push_back(i * step);
  return times;
}

std::vector<double> uneven_times(double step, double duration) {
  std::mt19937 random(3);
  std::uniform_real_distribution<double> jitter(-0.3, 0.3);
  std::vector<double> times;
  for (int i = 1; i * step <= duration; ++i) times.push_back(std::round((i + jitter(random)) * step * 1e6) / 1e6);
  return times;
}

// Whole turns about each axis and about one that none of the three angles turns about, through the pole of the angles;
// however the orientation is written, whenever the samples were taken, whatever the clock shows.
TEST_F(Trajectories, TorquesAreThoseOfTheClosedForm) {
  const std::vector<ClosedForm> motions{
      {"spin", {0, 0, 1}, [](double t) { return linear(0.3, 5, t); }},
      {"pitch through the pole", {0, 1, 0}, [](double t) { return linear(-0.4, 3, t); }},
      {"roll", {1, 0, 0}, [](double t) { return linear(0.2, -4, t); }},
      {"tumble", Vector3d(1, 2, -2) / 3, [](double t) { return linear(0, 3, t); }},
      {"pendulum",
       {0, 1, 0},
       [](double t) { return swing(0.8, 2.5, t); },
       [](double) { return Vector3d(1, 0, 0); },
       [](double t) { return swing(0.5, 3, t); }},
      {"free fall", {0, 0, 1}, [](double) { return Vector3d(0, 0, 0); }, falling},
  };
  const std::vector<double> even = even_times(0.01, 2);
  const std::vector<double> uneven = uneven_times(0.01, 2);
  for (const ClosedForm& motion : motions) {
    for (const Orientation orientation : {Orientation::angles, Orientation::flipped_angles, Orientation::quaternion}) {
      EXPECT_LT(deviation(motion, even, orientation), 1e-4) << motion.name << static_cast<int>(orientation);
    }
    EXPECT_LT(deviation(motion, uneven, Orientation::angles), 1e-4) << motion.name;
    EXPECT_LT(deviation(motion, even, Orientation::quaternion, 1e9), 1e-4) << motion.name;
    EXPECT_LT(deviation(motion, uneven, Orientation::flipped_angles, 1.76e9), 1e-4) << motion.name;
  }
}

// An angle of a joint is what it says, also beyond a turn.
TEST_F(Trajectories, JointAnglesAreNotWrapped) {
  ClosedForm motion{"winding", {0, 0, 1}};
  motion.knee = [](double t) { return linear(1, -9, t); };
  EXPECT_LT(deviation(motion, even_times(0.01, 2), Orientation::angles), 1e-4);
}

// A squat as other programs round it.
TEST_F(Trajectories, ACutoffRecoversARoundedSquat) {
  const Motion exact_motion = read_motion(KORVEL_MOTIONS "/squat.csv", joints_);
  const auto largest_deviation = [&](double penalty) {
    Motion rounded = exact_motion;
    const auto round = [](double value) { return std::round(value * 1e3) / 1e3; };
    rounded.position = rounded.position.unaryExpr(round);
    rounded.orientation = rounded.orientation.unaryExpr(round);
    rounded.joints = rounded.joints.unaryExpr(round);
    const Trajectory seen(rounded, penalty);
    const Trajectory expected(exact_motion);
    float largest = 0;
    for (Eigen::Index s = 0; s < seen.size(); ++s) {
      largest = std::max(largest, (torques(seen.at(s)) - torques(expected.at(s))).abs().maxCoeff());
    }
    return largest;
  };
  EXPECT_GT(largest_deviation(0), 1.5F);
  EXPECT_LT(largest_deviation(penalty_of_cutoff(6)), 0.15F);
}

// Splines of a stretch are those of the whole, wherever it is asked for, whatever the samples and the penalty: here of
// noise, at steps of which each may be a hundred times the one before.
TEST(LongTrajectories, ShowTheSplinesOfTheWhole) {
  constexpr Eigen::Index count = 20000;
  std::mt19937 random(5);
  std::uniform_real_distribution<double> noise(-1, 1);
  for (const bool even : {true, false}) {
    Motion motion;
    motion.elapsed = Eigen::ArrayXd::LinSpaced(count, 0, 0.001 * (count - 1));
    for (Eigen::Index s = 1; !even && s < count; ++s) {
      motion.elapsed[s] = motion.elapsed[s - 1] + 0.001 * std::pow(10, noise(random));
    }
    motion.time = motion.elapsed;
    motion.position = Eigen::ArrayX3d::Zero(count, 3);
    motion.orientation = Eigen::ArrayX4d::Zero(count, 4);
    motion.orientation.col(0) = 1;
    motion.joints = Eigen::ArrayXXd::NullaryExpr(count, 1, [&] { return noise(random); });
    for (const double cutoff : {0.0, 300.0, 20.0, 3.0, 0.05}) {
      const double penalty = cutoff > 0 ? penalty_of_cutoff(cutoff) : 0;
      const Curves whole = Spline(motion.elapsed, penalty).through(motion.joints.col(0));
      const Trajectory trajectory(motion, penalty);
      // Within rounding to single precision, of the largest of its kind.
      Eigen::Array3d largest(0, 0, 0);
      const auto compare = [&](Eigen::Index s) {
        const Instant instant = trajectory.at(s);
        const Eigen::Array3f seen(instant.joint_pos[0], instant.joint_vel[0], instant.joint_acc[0]);
        const Eigen::Array3d expected(whole.value(s), whole.first(s), whole.second(s));
        largest = largest.max((seen.cast<double>() - expected).abs());
      };
      for (Eigen::Index s = 0; s < count; ++s) compare(s);
      for (Eigen::Index s = count - 1; s >= 0; s -= 997) compare(s);
      const Eigen::Array3d scale(whole.value.abs().maxCoeff(), whole.first.abs().maxCoeff(),
                                 whole.second.abs().maxCoeff());
      EXPECT_TRUE((largest < 1e-7 * scale).all()) << even << cutoff << ": " << (largest / scale).transpose();
    }
  }
}

// A motion keeps a double for each number of the file and little else, also while it is read.
TEST_F(Trajectories, ALongOneTakesLittleMoreThanItsNumbers) {
#ifdef KORVEL_SANITIZED
  GTEST_SKIP() << "a sanitizer keeps what is freed";
#endif
  constexpr std::size_t count = 100000;
  const TemporaryDirectory directory;
  const std::filesystem::path file = directory / "motion.csv";
  {
    // Row by row: a large text that is freed would have the allocator keep what others free.
    std::ofstream rows(file);
    rows << fmt::format("time,x,y,z,roll,pitch,yaw,{}\n", fmt::join(joints_, ","));
    for (std::size_t s = 0; s < count; ++s) {
      rows << s;
      for (std::size_t i = 0; i < 6 + joints_.size(); ++i) rows << ",0." << i;
      rows << '\n';
    }
  }
  const pid_t child = fork();
  if (child == 0) {
    const auto kibibytes = [] {
      rusage usage{};
      getrusage(RUSAGE_SELF, &usage);
      return usage.ru_maxrss;
    };
    const long before = kibibytes();
    const Trajectory trajectory(read_motion(file, joints_));
    trajectory.at(count - 1);
    const auto numbers = static_cast<long>(count * (7 + joints_.size()) * sizeof(double) >> 10);
    _exit(kibibytes() - before < 2 * numbers ? 0 : 1);
  }
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
}

}  // namespace
}  // namespace korvel::host
