#include "batch/standing.h"

#include <Eigen/Geometry>
#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "batch/arguments.h"
#include "batch/refusal.h"
#include "contact/body_motion.h"
#include "contact/phases.h"
#include "contact/sole.h"
#include "contact/stance.h"

namespace korvel::batch {

class Ground {
 public:
  double height;  ///< [m]
  std::vector<contact::Sole> soles;
  Input contact;  ///< a share for each sole; without data it is seen whether they stand
};

namespace {

using contact::SoleState;
using contact::Stance;

constexpr int pose_numbers = 12 * body_count;
constexpr int jacobian_numbers = 6 * coordinate_count;
constexpr int wrench_numbers = 6;

/// So many states at once, that what is between the kernels stays in the cache.
constexpr std::ptrdiff_t chunk = 2 * tile_size;

/// The states from one on, which begins a tile.
template <typename Float>
NumbersOf<Float> from(const NumbersOf<Float>& numbers, std::ptrdiff_t first) {
  if (numbers.data == nullptr) return numbers;
  return {numbers.of_state(first), numbers.state, numbers.number, numbers.tile};
}

template <typename Float>
NumbersOf<Float> rows(Float* data, std::ptrdiff_t count) {
  return {data, count, 1, 0};
}

void write(const Output& output, std::ptrdiff_t state, int number, double value) {
  if (output.data != nullptr) output.of_state(state)[number * output.number] = static_cast<float>(value);
}

void write(const Output& output, std::ptrdiff_t state, int number, const Eigen::Vector2d& v) {
  write(output, state, number, v.x());
  write(output, state, number + 1, v.y());
}

Eigen::Vector3d vector(const float* numbers) { return Eigen::Map<const Eigen::Vector3f>(numbers).cast<double>(); }

Eigen::Isometry3d isometry(const float* numbers) {
  Eigen::Isometry3d pose = Eigen::Isometry3d::Identity();
  pose.matrix().topRows<3>() = Eigen::Map<const Eigen::Matrix<float, 3, 4, Eigen::RowMajor>>(numbers).cast<double>();
  return pose;
}

/// What kernels leave of a chunk.
struct Kinematics {
  float required[chunk * coordinate_count];
  float poses_root[chunk * pose_numbers];
  float poses_world[chunk * pose_numbers];
  float com_root[chunk * 3];
  float jacobian[chunk * jacobian_numbers];
};

/// One state of a chunk.
struct State {
  State(const Kinematics& chunk_of, std::ptrdiff_t place)
      : all(chunk_of), s(place), root(contact::rigid(isometry(all.poses_world + s * pose_numbers))) {}

  const Kinematics& all;
  const std::ptrdiff_t s;
  const Eigen::Isometry3d root;  ///< in the world

  Eigen::Isometry3d pose_root(int body) const { return isometry(all.poses_root + s * pose_numbers + 12 * body); }
  Eigen::Vector3d com_root() const { return vector(all.com_root + s * 3); }
  /// Root axes, about the root's origin.
  contact::Wrench required() const {
    const float* force = all.required + s * coordinate_count;
    return {vector(force), vector(force + 3)};
  }
  bool is_finite() const {
    const auto finite = [](const float* numbers, int count) {
      return std::all_of(numbers, numbers + count, [](float x) { return std::isfinite(x); });
    };
    return finite(all.required + s * coordinate_count, wrench_numbers) && finite(all.com_root + s * 3, 3) &&
           finite(all.poses_root + s * pose_numbers, pose_numbers) && finite(all.poses_world + s * pose_numbers, 12);
  }
};

/// In the world, told in the root; `rates` are the velocities of the chunk.
contact::BodyMotion motion_of(const State& state, const Input& rates, int body) {
  using Robot = metapod::models::KorvelRobot;
  const float* const numbers = rates.of_state(state.s);
  const auto rate = [&](int d) { return static_cast<double>(numbers[d * rates.number]); };
  contact::BodyMotion motion{{rate(3), rate(4), rate(5)}, {rate(0), rate(1), rate(2)}};
  const Eigen::Map<const Eigen::Matrix<float, 6, coordinate_count, Eigen::RowMajor>> jacobian(
      state.all.jacobian + state.s * jacobian_numbers);
  for (int b = body; b > 0; b = Robot::bodies[b].parent) {
    const int d = metapod::models::dof_indexes_of<Robot>()[static_cast<std::size_t>(b)];
    motion.add(rate(d), jacobian.col(d).cast<double>());
  }
  return motion;
}

/// From 0, where the sole is lifted, to 1.
double share_of(const Ground& ground, const State& state, const Input& dq, const Input& contact, std::size_t sole) {
  if (contact.data != nullptr) {
    const float share = contact.of_state(state.s)[static_cast<std::ptrdiff_t>(sole) * contact.number];
    return share > 0 ? std::min(static_cast<double>(share), 1.0) : 0;
  }
  constexpr contact::ContactBounds bounds;
  const contact::Sole& it = ground.soles[sole];
  const auto body = static_cast<int>(it.body());
  const Eigen::Isometry3d pose = state.pose_root(body);
  const Eigen::Vector3d lowest = pose * it.lowest_corner(state.root * pose);
  const double speed = motion_of(state, dq, body).of_point(lowest).norm();
  return bounds.allow((state.root * lowest).z() - ground.height, speed) ? 1 : 0;
}

/// Positions are told from the root's origin, so that no digits are lost to the place in the world.
Stance stance_of(const Ground& ground, const State& state, const std::vector<SoleState>& soles, double weight) {
  const Eigen::Isometry3d& root = state.root;
  return contact::stance(ground.soles, soles, contact::rotated(root.linear(), state.required()),
                         ground.height - root.translation().z(), root.linear() * state.com_root(), weight,
                         contact::ContactBounds{}.height);
}

void write(const StandResults& results, std::ptrdiff_t s, const Stance& stance, const Eigen::Vector2d& origin) {
  write(results.zmp, s, 0, origin + stance.zero_moment_point);
  write(results.zmp_margin, s, 0, stance.margin);
  write(results.residual, s, 0, stance.residual);
  write(results.verdict, s, 0, std::isnan(stance.residual) ? stance.residual : static_cast<double>(stance.verdict));
  for (std::size_t i = 0; i < stance.soles.size(); ++i) {
    const contact::SoleLoad& load = stance.soles[i];
    const int sole = static_cast<int>(i);
    for (int k = 0; k < 3; ++k) {
      write(results.loads, s, wrench_numbers * sole + k, load.wrench.force[k]);
      write(results.loads, s, wrench_numbers * sole + 3 + k, load.wrench.moment[k]);
    }
    write(results.pressure, s, 2 * sole, origin + load.pressure);
  }
}

void add(const Stance& stance, StandSums& sums) {
  const auto margin = static_cast<float>(stance.margin);
  if (std::isnan(margin) || margin < sums.least_margin) sums.least_margin = margin;
  if (!(stance.residual <= contact::feasible_residual)) ++sums.unbearable;
}

/// Of a state that is not finite.
Stance no_stance(const Ground& ground) {
  constexpr double none = std::numeric_limits<double>::quiet_NaN();
  const Eigen::Vector3d vector = Eigen::Vector3d::Constant(none);
  Stance stance;
  stance.residual = stance.margin = none;
  stance.zero_moment_point = vector.head<2>();
  stance.soles.assign(ground.soles.size(), {{vector, vector}, vector.head<2>(), none, none});
  return stance;
}

}  // namespace

std::shared_ptr<const Ground> checked_ground(const korvel_batch_ground* ground, std::ptrdiff_t n) {
  if (ground == nullptr) throw Refusal{KORVEL_BATCH_NULL, "ground is null"};
  if (!std::isfinite(ground->height)) throw Refusal{KORVEL_BATCH_VALUE, "height is not finite"};
  if (ground->sole_count < 1 || ground->sole_count > body_count) {
    throw Refusal{KORVEL_BATCH_COUNT, "sole_count is " + std::to_string(ground->sole_count) +
                                          ": there must be at least one, and one a body at most"};
  }
  if (ground->soles == nullptr) throw Refusal{KORVEL_BATCH_NULL, "soles is null"};
  Ground checked{static_cast<double>(ground->height), {}, {}};
  std::array<bool, body_count> has_sole{};
  for (std::ptrdiff_t i = 0; i < ground->sole_count; ++i) {
    const auto& [body, friction, corners, corner_count] = ground->soles[i];
    require_body(body);
    bool& is_taken = has_sole[static_cast<std::size_t>(body)];
    if (is_taken) throw Refusal{KORVEL_BATCH_BODY, "body " + std::to_string(body) + " has two soles"};
    is_taken = true;
    if (corners == nullptr) throw Refusal{KORVEL_BATCH_NULL, "corners of sole " + std::to_string(i) + " is null"};
    constexpr std::ptrdiff_t most_corners = 1000;
    if (corner_count < 3 || corner_count > most_corners) {
      throw Refusal{KORVEL_BATCH_COUNT, "corner_count of sole " + std::to_string(i) + " is " +
                                            std::to_string(corner_count) + ": there must be at least 3, and at most " +
                                            std::to_string(most_corners)};
    }
    std::vector<Eigen::Vector3d> points;
    for (std::ptrdiff_t k = 0; k < corner_count; ++k) {
      points.emplace_back(Eigen::Map<const Eigen::Vector3f>(corners + 3 * k).cast<double>());
    }
    try {
      checked.soles.emplace_back(static_cast<unsigned long>(body), points, static_cast<double>(friction));
    } catch (const std::invalid_argument& refusal) {
      throw Refusal{KORVEL_BATCH_VALUE, "sole " + std::to_string(i) + ": " + refusal.what()};
    }
  }
  if (ground->contact.data != nullptr) {
    checked.contact = checked_input(&ground->contact, "contact", n, static_cast<int>(ground->sole_count));
  }
  return std::make_shared<const Ground>(std::move(checked));
}

void stand(const KernelSet& kernels, const Masses& masses, const Stretch& states, const Motion& motion,
           const Ground& ground, const StandResults& results, StandSums* sums) {
  const auto between = std::make_unique<Kinematics>();
  Kinematics& all = *between;
  const double weight = contact::gravity * static_cast<double>(masses.total);
  const auto sole_count = static_cast<std::ptrdiff_t>(ground.soles.size());
  // What the ground does, as inverse dynamics takes it.
  const std::ptrdiff_t load_numbers = wrench_numbers * sole_count;
  std::vector<float> loads(static_cast<std::size_t>(chunk * load_numbers));
  std::vector<Output> loads_of;
  std::vector<Wrench> wrenches;
  for (const contact::Sole& sole : ground.soles) {
    loads_of.push_back(rows(loads.data() + wrench_numbers * loads_of.size(), load_numbers));
    const auto& [data, state, number, tile] = loads_of.back();
    wrenches.push_back({static_cast<int>(sole.body()), {data, state, number, tile}});
  }
  const bool is_seen = ground.contact.data == nullptr;

  for (std::ptrdiff_t first = states.first; first < states.last; first += chunk) {
    const Stretch here{0, std::min(chunk, states.last - first)};
    const Motion m{from(motion.q, first), from(motion.dq, first), from(motion.ddq, first)};
    const Input contact = from(ground.contact, first);
    const StandResults r{from(results.forces, first), from(results.loads, first),      from(results.pressure, first),
                         from(results.zmp, first),    from(results.zmp_margin, first), from(results.residual, first),
                         from(results.verdict, first)};

    kernels.dynamics(masses, here, m.q, m.dq, m.ddq, {}, rows(all.required, coordinate_count), nullptr);
    kernels.kinematics(masses, here, m.q,
                       {rows(all.poses_root, pose_numbers),
                        rows(all.poses_world, pose_numbers),
                        rows(all.com_root, 3),
                        {},
                        is_seen ? rows(all.jacobian, jacobian_numbers) : Output{}});
    for (std::ptrdiff_t s = 0; s < here.last; ++s) {
      const State state(all, s);
      const bool finite = state.is_finite();
      std::vector<SoleState> soles;
      for (std::size_t i = 0; i < ground.soles.size(); ++i) {
        const double share = finite ? share_of(ground, state, m.dq, contact, i) : 0;
        const auto body = static_cast<int>(ground.soles[i].body());
        soles.push_back({state.root.linear() * state.pose_root(body), share > 0, share});
      }
      const Stance stance = finite ? stance_of(ground, state, soles, weight) : no_stance(ground);
      write(r, s, stance, state.root.translation().head<2>());
      for (std::size_t i = 0; i < soles.size(); ++i) {
        const contact::Wrench load = contact::rotated(soles[i].pose.linear().transpose(), stance.soles[i].wrench);
        Eigen::Map<Eigen::Matrix<float, wrench_numbers, 1>>(loads_of[i].of_state(s)) << load.force.cast<float>(),
            load.moment.cast<float>();
      }
      if (sums != nullptr) add(stance, *sums);
    }
    if (r.forces.data != nullptr || sums != nullptr) {
      kernels.dynamics(masses, here, m.q, m.dq, m.ddq, {wrenches.data(), static_cast<int>(wrenches.size())}, r.forces,
                       sums == nullptr ? nullptr : &sums->forces);
    }
  }
}

}  // namespace korvel::batch
