/// Times the library for many states beside the module, called state by state with its results copied to the same
/// arrays, in one run. Rows in and out unless a name says otherwise.
///
///   korvel-bench-batch [options of Google Benchmark]
///
/// Benchmarks are called OPERATION/WHO: the module, or a layout and an instruction set. All work on 256 states, which
/// stay in a processor's caches, and report the time of one; those on threads work on as many as they write to memory.

#include "korvel/batch.hpp"

#include <algorithm>
#include <boost/align/aligned_allocator.hpp>
#include <cstring>
#include <functional>
#include <memory>
#include <thread>

#include "bench/instants.h"
#include "bench/jobs.h"
#include "bench/peers/peer.h"
#include "bench/run_benchmarks.h"
#include "host/robot/module.h"

namespace {

using namespace korvel;

constexpr int coordinates = KORVEL_BATCH_COORDINATES;
constexpr int pose_numbers = 12 * KORVEL_BATCH_BODIES;
constexpr int jacobian_numbers = 6 * coordinates;
constexpr int dense_numbers = coordinates * coordinates;
constexpr std::ptrdiff_t in_cache = 256;
constexpr std::ptrdiff_t in_memory = 65536;

/// The numbers begin at a line of the cache, so that no wide register crosses two.
using Numbers = std::vector<float, boost::alignment::aligned_allocator<float, 64>>;

/// States, and room for what is computed of them.
struct Arrays {
  explicit Arrays(std::ptrdiff_t n) : count(n), states(bench::seeded_instants(in_cache)) {
    for (Numbers* values : {&q, &dq, &ddq, &forces, &by_q, &by_dq, &by_ddq}) *values = room(coordinates);
    by_velocity = room(dense_numbers);
    poses_root = room(pose_numbers);
    poses_world = room(pose_numbers);
    com_root = room(3);
    com_world = room(3);
    jacobian = room(jacobian_numbers);
    mass = room(dense_numbers);
    wrenches = {room(6), room(6)};
    for (std::ptrdiff_t s = 0; s < n; ++s) {
      const bench::LoadedInstant& state = states[static_cast<std::size_t>(s % in_cache)];
      const auto [x, y, z, roll, pitch, yaw] = QZ::Math::position6DFromTransform(state.root.pose);
      put({x, y, z, roll, pitch, yaw}, state.joint_pos, q.data() + s * coordinates);
      put(six(state.root.velocity), state.joint_vel, dq.data() + s * coordinates);
      put(six(state.root.acceleration), state.joint_acc, ddq.data() + s * coordinates);
      for (std::size_t i = 0; i < 2; ++i) std::copy_n(state.wrenches[i].data(), 6, wrenches[i].data() + 6 * s);
    }
  }

  Numbers room(int numbers) const { return Numbers(static_cast<std::size_t>(count * numbers)); }
  static std::array<float, 6> six(const QZ::Math::Velocity6D& v) { return {v.x, v.y, v.z, v.wx, v.wy, v.wz}; }
  static void put(const std::array<float, 6>& root, const Eigen::ArrayXf& joints, float* to) {
    std::copy(joints.begin(), joints.end(), std::copy(root.begin(), root.end(), to));
  }

  std::ptrdiff_t count;
  bench::LoadedInstants states;
  Numbers q, dq, ddq, forces, by_q, by_dq, by_ddq, by_velocity, poses_root, poses_world, com_root, com_world, jacobian,
      mass;
  std::array<Numbers, 2> wrenches;
};

/// All rows, or all tiles, for which any values serve.
korvel_batch_input input(bool in_tiles, const Numbers& values, int count) {
  return in_tiles ? tiles_of(values.data(), count) : rows_of(values.data(), count);
}
korvel_batch_output output(bool in_tiles, Numbers& values, int count) {
  return in_tiles ? tiles_to(values.data(), count) : rows_to(values.data(), count);
}

/// `work` on all of `count` states, as the time of one.
void add(const std::string& name, std::ptrdiff_t count, const std::function<void()>& work) {
  benchmark::internal::Benchmark* timed = benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& timer) {
    while (timer.KeepRunningBatch(count)) work();
  });
  // This is the time of all threads.
  if (count == in_memory) timed->UseRealTime();
}

void add_module(tesk::RigidBodySystem& robot, Arrays& a) {
  const auto each = [&a, &robot](auto work) {
    return [&a, &robot, work] {
      for (std::size_t s = 0; s < a.states.size(); ++s) work(robot, a, a.states[s], static_cast<std::ptrdiff_t>(s));
    };
  };
  const auto copy_poses = [](tesk::RigidBodySystem& r, Arrays& to, std::ptrdiff_t s) {
    // The poses of all bodies stand side by side.
    std::memcpy(to.poses_root.data() + s * pose_numbers, &r.getPoseInRoot(0), pose_numbers * sizeof(float));
    std::memcpy(to.poses_world.data() + s * pose_numbers, &r.getPose(0), pose_numbers * sizeof(float));
    std::memcpy(to.com_root.data() + s * 3, &r.getComPositionInRoot(), 3 * sizeof(float));
    std::memcpy(to.com_world.data() + s * 3, &r.getComPosition(), 3 * sizeof(float));
  };
  add("kinematics/module", in_cache, each([=](auto& r, auto& to, const auto& state, std::ptrdiff_t s) {
        bench::compute_kinematics(r, state);
        copy_poses(r, to, s);
      }));
  add("kinematics-jacobian/module", in_cache, each([=](auto& r, auto& to, const auto& state, std::ptrdiff_t s) {
        bench::compute_kinematics(r, state);
        copy_poses(r, to, s);
        std::memcpy(to.jacobian.data() + s * jacobian_numbers, r.getJacobianInRoot().data(),
                    jacobian_numbers * sizeof(float));
      }));
  static std::array<int, KORVEL_BATCH_MASS_ENTRIES> places;
  for (int entry = 0; entry < KORVEL_BATCH_MASS_ENTRIES; ++entry) {
    int row = 0;
    int column = 0;
    korvel_batch_mass_entry(entry, &row, &column);
    places[static_cast<std::size_t>(entry)] = row + coordinates * column;
  }
  add("mass-packed/module", in_cache, each([](auto& r, auto& to, const auto& state, std::ptrdiff_t s) {
        bench::compute_mass_from_angles(r, state);
        const float* H = r.getGeneralizedMass().data();
        float* packed = to.mass.data() + s * KORVEL_BATCH_MASS_ENTRIES;
        for (const int place : places) *packed++ = H[place];
      }));
  add("mass-dense/module", in_cache, each([](auto& r, auto& to, const auto& state, std::ptrdiff_t s) {
        bench::compute_mass_from_angles(r, state);
        std::memcpy(to.mass.data() + s * dense_numbers, r.getGeneralizedMass().data(), dense_numbers * sizeof(float));
      }));
  add("dynamics/module", in_cache, each([](auto& r, auto& to, const auto& state, std::ptrdiff_t s) {
        bench::compute_dynamics(r, state);
        const auto torques = r.getJointAnglesTorque();
        std::copy(torques.first, torques.last, to.forces.data() + s * coordinates + 6);
      }));
}

std::vector<korvel_batch_wrench> feet(bool in_tiles, const Arrays& a) {
  std::vector<korvel_batch_wrench> wrenches;
  for (std::size_t i = 0; i < 2; ++i) {
    wrenches.push_back({static_cast<int>(bench::feet[i]), input(in_tiles, a.wrenches[i], 6)});
  }
  return wrenches;
}

void add_batch(const std::string& who, const Batch& batch, bool in_tiles, Arrays& a) {
  const auto q = [in_tiles, &a] { return input(in_tiles, a.q, coordinates); };
  const auto dq = [in_tiles, &a] { return input(in_tiles, a.dq, coordinates); };
  const auto ddq = [in_tiles, &a] { return input(in_tiles, a.ddq, coordinates); };
  const auto kinematics = [=, &a](bool jacobian) {
    return korvel_batch_kinematics_results{
        output(in_tiles, a.poses_root, pose_numbers),
        output(in_tiles, a.poses_world, pose_numbers),
        output(in_tiles, a.com_root, 3),
        output(in_tiles, a.com_world, 3),
        jacobian ? output(in_tiles, a.jacobian, jacobian_numbers) : korvel_batch_output{},
        nullptr,
        0};
  };
  add("kinematics/" + who, a.count, [=, &a, &batch] { batch.kinematics(a.count, q(), kinematics(false)); });
  add("kinematics-jacobian/" + who, a.count, [=, &a, &batch] { batch.kinematics(a.count, q(), kinematics(true)); });
  add("mass-packed/" + who, a.count,
      [=, &a, &batch] { batch.mass_packed(a.count, q(), output(in_tiles, a.mass, KORVEL_BATCH_MASS_ENTRIES)); });
  add("mass-dense/" + who, a.count,
      [=, &a, &batch] { batch.mass_dense(a.count, q(), output(in_tiles, a.mass, dense_numbers)); });
  add("dynamics/" + who, a.count, [=, &a, &batch] {
    batch.dynamics(a.count, q(), dq(), ddq(), output(in_tiles, a.forces, coordinates), feet(in_tiles, a));
  });
  add("dynamics-sums/" + who, a.count,
      [=, &a, &batch] { benchmark::DoNotOptimize(batch.force_sums(a.count, q(), dq(), ddq(), feet(in_tiles, a))); });
  add("gradient/" + who, a.count, [=, &a, &batch] {
    batch.dynamics_gradient(a.count, q(), dq(), ddq(), dq(),
                            {output(in_tiles, a.forces, coordinates), output(in_tiles, a.by_q, coordinates),
                             output(in_tiles, a.by_dq, coordinates), output(in_tiles, a.by_ddq, coordinates)},
                            feet(in_tiles, a));
  });
  const auto derivatives = [=, &a, &batch](const korvel_batch_output& position_packed,
                                           const korvel_batch_output& velocity_packed,
                                           const korvel_batch_output& position, const korvel_batch_output& velocity) {
    batch.dynamics_derivatives(
        a.count, q(), dq(), ddq(),
        {output(in_tiles, a.forces, coordinates), position_packed, velocity_packed, position, velocity},
        feet(in_tiles, a));
  };
  add("derivatives-unwritten/" + who, a.count, [=] { derivatives({}, {}, {}, {}); });
  add("derivatives-packed/" + who, a.count, [=, &a] {
    derivatives(output(in_tiles, a.mass, KORVEL_BATCH_POSITION_ENTRIES),
                output(in_tiles, a.by_velocity, KORVEL_BATCH_VELOCITY_ENTRIES), {}, {});
  });
  add("derivatives-dense/" + who, a.count, [=, &a] {
    derivatives({}, {}, output(in_tiles, a.mass, dense_numbers), output(in_tiles, a.by_velocity, dense_numbers));
  });
  static const std::vector<float> rotors(KORVEL_BATCH_JOINTS, 1e-3F);
  add("forward-dynamics/" + who, a.count, [=, &a, &batch] {
    batch.forward_dynamics(a.count, q(), dq(), ddq(), {output(in_tiles, a.forces, coordinates), {}}, rotors.data(),
                           feet(in_tiles, a));
  });
  // The robot is on both feet, wherever they are. The ground cannot supply what most of these lively motions require,
  // which takes longest to compute. At rest it can, and no corner is near slipping.
  static const float corners[]{-0.045F, 0.04F,  0.1F,   -0.045F, -0.04F, 0.1F,
                               -0.045F, -0.04F, -0.05F, -0.045F, 0.04F,  -0.05F};
  static const korvel_batch_sole soles[]{{static_cast<int>(bench::feet[0]), 0.6F, corners, 4},
                                         {static_cast<int>(bench::feet[1]), 0.6F, corners, 4}};
  static const float contact[]{1, 1};
  const auto stand = [=, &a, &batch](const auto& of_q, const auto& of_dq, const auto& of_ddq) {
    const korvel_batch_ground ground{0, soles, 2, {contact, 0, sizeof(float), 0}};
    batch.stand(a.count, of_q, of_dq, of_ddq, ground,
                {output(in_tiles, a.forces, coordinates), {}, {}, {}, {}, {}, {}});
  };
  add("stand/" + who, a.count, [=] { stand(q(), dq(), ddq()); });
  static const float zeros[coordinates]{};
  const korvel_batch_input rest{zeros, 0, sizeof(float), 0};
  add("stand-at-rest/" + who, a.count, [=] { stand(rest, rest, rest); });
}

/// A general library with an object for each of some threads, which share the states: the time of one.
class PeerOnThreads {
 public:
  PeerOnThreads(const bench::PeerEntry& entry, const bench::LoadedInstants& states, int threads)
      : states_(states.size()) {
    for (int t = 0; t < threads; ++t) {
      peers_.push_back(entry.read(states, bench::exported_robot(entry.formats.front())));
      peers_.back()->set_root_and_wrenches(0);
    }
  }

  /// Returns the number of all states. It is large enough to hide the time that threads take to start.
  std::ptrdiff_t count() const { return rounds * static_cast<std::ptrdiff_t>(states_ * peers_.size()); }

  void run(void (bench::Peer::*compute)(std::size_t)) {
    std::vector<std::thread> threads;
    for (const auto& peer : peers_) {
      threads.emplace_back([this, &peer, compute] {
        for (int i = 0; i < rounds; ++i) {
          for (std::size_t s = 0; s < states_; ++s) (peer.get()->*compute)(s);
        }
      });
    }
    for (std::thread& thread : threads) thread.join();
  }

 private:
  static constexpr int rounds = 8;
  std::size_t states_;
  std::vector<std::unique_ptr<bench::Peer>> peers_;
};

/// Adds the peers with the same number of threads.
void add_peers(const bench::LoadedInstants& states, int threads) {
  for (const bench::PeerEntry& entry : bench::peers()) {
    const auto peer = std::make_shared<PeerOnThreads>(entry, states, threads);
    const auto add_job = [&](const char* job, void (bench::Peer::*compute)(std::size_t)) {
      const std::string name = job + ("/threads-" + std::to_string(threads) + "-" + entry.name);
      benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& timer) {
        while (timer.KeepRunningBatch(peer->count())) peer->run(compute);
      })->UseRealTime();
    };
    add_job("kinematics-jacobian", &bench::Peer::compute_kinematics);
    add_job("mass-dense", &bench::Peer::compute_mass);
    add_job("dynamics", &bench::Peer::compute_dynamics);
    add_job("forward-dynamics", &bench::Peer::compute_forward_dynamics);
    if (entry.has_derivatives) add_job("derivatives-dense", &bench::Peer::compute_derivatives);
  }
}

void run(const std::vector<std::string>& arguments) {
  if (!arguments.empty())
    throw std::invalid_argument("expected options of Google Benchmark, found '" + arguments.front() + "'");
  const host::Module module(KORVEL_MODULE);
  const auto robot = module.create();
  static Arrays cached(in_cache);
  bench::set_root_and_wrenches(*robot, cached.states.front());
  add_module(*robot, cached);
  static Arrays many(in_memory);
  std::vector<std::unique_ptr<Batch>> batches;
  for (const char* set : {"baseline", "avx2", "avx512"}) {
    try {
      batches.push_back(std::make_unique<Batch>(1, set));
    } catch (const BatchError&) {
      continue;  // not on this processor
    }
    add_batch(std::string("rows-") + set, *batches.back(), false, cached);
    add_batch(std::string("tiles-") + set, *batches.back(), true, cached);
  }
  for (const int threads : {1, 2}) {
    batches.push_back(std::make_unique<Batch>(threads));
    add_batch("threads-" + std::to_string(threads), *batches.back(), false, many);
    add_peers(cached.states, threads);
  }
  benchmark::RunSpecifiedBenchmarks();
}

}  // namespace

int main(int argc, char** argv) { return korvel::bench::run_benchmarks(argc, argv, run); }
