#include <algorithm>
#include <cmath>
#include <cstring>
#include <exception>
#include <limits>
#include <map>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "contact/phases.h"
#include "metapod/models/korvel/robot.h"
#include "motion/korvel/motion.h"
#include "motion/spline.h"
#include "motion/trajectory.h"
#include "qzmath/qzmath.h"

struct korvel_motion {
  korvel::host::Trajectory trajectory;
  std::map<std::string, std::vector<bool>> contacts;  ///< by the names of bodies, as in the file
};

namespace {

using korvel::host::Instant;
using QZ::Math::Velocity6D;

/// The text has a fixed size, so that keeping it allocates nothing.
thread_local char last_sentence[4096] = "";

korvel_motion_status remember(korvel_motion_status status, const char* sentence) noexcept {
  std::strncpy(last_sentence, sentence, sizeof last_sentence - 1);
  return status;
}

/// Returns what work() returns, or the status of the exception that it throws.
template <typename Work>
int status_of(const Work& work) noexcept {
  try {
    return work();
  } catch (const std::bad_alloc&) {
    return remember(KORVEL_MOTION_MEMORY, "no memory");
  } catch (const std::exception& other) {
    return remember(KORVEL_MOTION_FILE, other.what());
  } catch (...) {
    return remember(KORVEL_MOTION_FILE, "an exception of unknown type");
  }
}

using Names = std::vector<std::string>;

/// A joint has the name of the body that it carries.
Names body_names(std::size_t first = 0) {
  Names names;
  for (const auto& body : metapod::models::KorvelRobot::bodies) names.emplace_back(body.name);
  return {names.begin() + static_cast<std::ptrdiff_t>(first), names.end()};
}
Names joint_names() { return body_names(1); }

static_assert(KORVEL_MOTION_COORDINATES == 6 + std::size(metapod::models::KorvelRobot::bodies) - 1);

/// The root's six numbers, then those of the joints.
void put(const Velocity6D& root, const Eigen::ArrayXf& joints, Eigen::Index sample, float* rows) {
  if (rows == nullptr) return;
  float* row = rows + sample * KORVEL_MOTION_COORDINATES;
  for (const float number : {root.x, root.y, root.z, root.wx, root.wy, root.wz}) *row++ = number;
  std::copy(joints.begin(), joints.end(), row);
}

/// Takes the root's coordinates from a pose as the module does.
Velocity6D coordinates(const QZ::Math::Transform& pose) noexcept {
  const QZ::Math::Position6D p = QZ::Math::position6DFromTransform(pose);
  return {p.x, p.y, p.z, p.ax, p.ay, p.az};
}

/// Makes an object of the samples that `samples()` returns.
template <typename Samples>
korvel_motion_status make(korvel_motion** motion, double cutoff, const Samples& samples) {
  const bool smooth = std::abs(cutoff) > 0 || std::isnan(cutoff);
  // Within bounds whose fourth power is a number.
  if (smooth && !(cutoff >= static_cast<double>(std::numeric_limits<float>::min()) &&
                  cutoff <= static_cast<double>(std::numeric_limits<float>::max()))) {
    return remember(KORVEL_MOTION_CUTOFF, "cutoff is neither 0 nor a positive number within single precision");
  }
  korvel::host::Motion made = samples();
  auto contacts = std::move(made.contacts);
  const double penalty = smooth ? korvel::host::penalty_of_cutoff(cutoff) : 0;
  *motion = new korvel_motion{korvel::host::Trajectory(std::move(made), penalty), std::move(contacts)};
  return KORVEL_MOTION_OK;
}

}  // namespace

int korvel_motion_read(korvel_motion** motion, const char* path, double cutoff) {
  return status_of([&] {
    if (motion == nullptr || path == nullptr) return remember(KORVEL_MOTION_NULL, "motion or path is null");
    return make(motion, cutoff, [&] { return korvel::host::read_motion(path, joint_names(), body_names()); });
  });
}

int korvel_motion_of(korvel_motion** motion, ptrdiff_t n, const double* time, const double* q, double cutoff) {
  return status_of([&] {
    if (motion == nullptr || time == nullptr || q == nullptr) {
      return remember(KORVEL_MOTION_NULL, "motion, time or q is null");
    }
    if (n < 1) return remember(KORVEL_MOTION_FILE, "n is below 1: there must be at least one sample");
    using Rows = Eigen::Array<double, Eigen::Dynamic, KORVEL_MOTION_COORDINATES, Eigen::RowMajor>;
    return make(motion, cutoff, [&] {
      return korvel::host::motion_of(Eigen::Map<const Eigen::ArrayXd>(time, n),
                                     Eigen::Map<const Rows>(q, n, KORVEL_MOTION_COORDINATES));
    });
  });
}

void korvel_motion_destroy(korvel_motion* motion) { delete motion; }

ptrdiff_t korvel_motion_count(const korvel_motion* motion) { return motion == nullptr ? 0 : motion->trajectory.size(); }

int korvel_motion_samples(korvel_motion* motion, double* time, float* q, float* dq, float* ddq) {
  return status_of([&] {
    if (motion == nullptr) return remember(KORVEL_MOTION_NULL, "motion is null");
    const korvel::host::Trajectory& trajectory = motion->trajectory;
    for (Eigen::Index sample = 0; sample < trajectory.size(); ++sample) {
      const Instant state = trajectory.at(sample);
      put(coordinates(state.root.pose), state.joint_pos, sample, q);
      put(state.root.velocity, state.joint_vel, sample, dq);
      put(state.root.acceleration, state.joint_acc, sample, ddq);
    }
    if (time != nullptr) std::copy(trajectory.time().begin(), trajectory.time().end(), time);
    return KORVEL_MOTION_OK;
  });
}

int korvel_motion_contact(const korvel_motion* motion, int body, float* share) {
  return status_of([&] {
    if (motion == nullptr || share == nullptr) return remember(KORVEL_MOTION_NULL, "motion or share is null");
    const auto& bodies = metapod::models::KorvelRobot::bodies;
    if (body < 0 || body >= static_cast<int>(std::size(bodies))) {
      return remember(KORVEL_MOTION_BODY, "body is not the number of a body");
    }
    const auto count = static_cast<std::size_t>(motion->trajectory.size());
    std::fill_n(share, count, std::numeric_limits<float>::quiet_NaN());
    const auto given = motion->contacts.find(bodies[body].name);
    if (given == motion->contacts.end()) return KORVEL_MOTION_OK;
    const Eigen::ArrayXd& time = motion->trajectory.time();
    const auto shares = korvel::contact::contact_shares({time.begin(), time.end()}, given->second);
    std::transform(shares.begin(), shares.end(), share, [](double value) { return static_cast<float>(value); });
    return KORVEL_MOTION_OK;
  });
}

int korvel_motion_read_soles(const char* path, korvel_motion_corner* corners, ptrdiff_t capacity, ptrdiff_t* count) {
  return status_of([&] {
    if (path == nullptr || count == nullptr || (corners == nullptr && capacity > 0)) {
      return remember(KORVEL_MOTION_NULL, "path, corners or count is null");
    }
    ptrdiff_t found = 0;
    for (const auto& sole : korvel::host::read_soles(path, body_names())) {
      for (const Eigen::Vector3d& corner : sole.corners_body()) {
        if (found < capacity) {
          corners[found] = {static_cast<int>(sole.body()), {corner.x(), corner.y(), corner.z()}, sole.friction()};
        }
        ++found;
      }
    }
    *count = found;
    return KORVEL_MOTION_OK;
  });
}

const char* korvel_motion_version(void) { return KORVEL_VERSION; }

const char* korvel_motion_error(void) { return last_sentence; }
