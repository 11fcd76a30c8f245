/// Times the library for many states beside the module, called state by state with its results copied to the same
/// arrays, in one run. Rows in and out unless a name says otherwise.
///
///   korvel-bench-batch [options of Google Benchmark]
///
/// Benchmarks are called OPERATION/WHO: the module, or a layout and an instruction set. All work on 256 states, which
/// stay in a processor's caches, and report the time of one; those on threads work on as many as they write to memory.

#include "korvel/batch.hpp"

#include <boost/align/aligned_allocator.hpp>
#include <cstring>
#include <list>
#include <memory>

#include "bench/jobs.h"
#include "bench/peers/peer.h"
#include "bench/run_benchmarks.h"

namespace {

using namespace korvel;
using bench::LoadedInstant;
using bench::LoadedInstants;

constexpr int coordinates = KORVEL_BATCH_COORDINATES;
constexpr int pose_numbers = 12 * KORVEL_BATCH_BODIES;
constexpr int jacobian_numbers = 6 * coordinates;
constexpr int dense_numbers = coordinates * coordinates;
constexpr std::ptrdiff_t in_memory = 65536;

/// Writes the root's six numbers, then those of the joints.
template <typename Six>
void put(const Six& root, const Eigen::ArrayXf& joints, float* to) {
  static_assert(sizeof(root) == 6 * sizeof(float));
  std::memcpy(to, &root, sizeof(root));
  std::copy(joints.begin(), joints.end(), to + 6);
}

/// Holds inputs and results of some states, in rows or tiles. Tiles have the numbers of rows, because any values serve.
struct Arrays {
  Arrays(const LoadedInstants& given, std::ptrdiff_t n, bool tiles) : states(given), count(n), in_tiles(tiles) {}

  korvel_batch_output output(float* data, int numbers) const {
    return in_tiles ? tiles_to(data, numbers) : rows_to(data, numbers);
  }
  korvel_batch_output room(int numbers) {
    return output(memory.emplace_back(static_cast<std::size_t>(count * numbers)).data(), numbers);
  }
  template <typename Put>
  korvel_batch_input input(int numbers, const Put& put_numbers) {
    const korvel_batch_output to = room(numbers);
    for (std::ptrdiff_t s = 0; s < count; ++s) {
      put_numbers(states[static_cast<std::size_t>(s) % states.size()], to.data + s * numbers);
    }
    return {to.data, to.state, to.number, to.tile};
  }
  korvel_batch_wrench wrench(std::size_t foot) {
    const auto put_wrench = [foot](const LoadedInstant& state, float* to) {
      std::copy(state.wrenches[foot].begin(), state.wrenches[foot].end(), to);
    };
    return {static_cast<int>(bench::feet[foot]), input(6, put_wrench)};
  }

  const LoadedInstants& states;
  std::ptrdiff_t count;
  bool in_tiles;
  /// Numbers begin at a line of the cache, so that no wide register crosses two.
  std::list<std::vector<float, boost::alignment::aligned_allocator<float, 64>>> memory;
  korvel_batch_input q = input(coordinates, [](const LoadedInstant& state, float* to) {
    put(QZ::Math::position6DFromTransform(state.root.pose), state.joint_pos, to);
  });
  korvel_batch_input dq =
      input(coordinates, [](const LoadedInstant& state, float* to) { put(state.root.velocity, state.joint_vel, to); });
  korvel_batch_input ddq = input(
      coordinates, [](const LoadedInstant& state, float* to) { put(state.root.acceleration, state.joint_acc, to); });
  std::vector<korvel_batch_wrench> wrenches{wrench(0), wrench(1)};
  korvel_batch_output forces = room(coordinates), by_q = room(coordinates), by_dq = room(coordinates),
                      by_ddq = room(coordinates), poses_root = room(pose_numbers), poses_world = room(pose_numbers),
                      com_root = room(3), com_world = room(3), jacobian = room(jacobian_numbers),
                      mass = room(dense_numbers), by_velocity = room(dense_numbers);
};

void add_module(tesk::RigidBodySystem& robot, Arrays& a) {
  const auto add = [&a](const char* operation, const auto& work) {
    bench::add_benchmark(operation + std::string("/module"), a.states.size(), [&a, work](int) {
      for (std::size_t s = 0; s < a.states.size(); ++s) work(a.states[s], static_cast<std::ptrdiff_t>(s));
    });
  };
  const auto copy = [](const void* from, const korvel_batch_output& to, std::ptrdiff_t s, int numbers) {
    std::memcpy(to.data + s * numbers, from, static_cast<std::size_t>(numbers) * sizeof(float));
  };
  const auto kinematics = [&robot, &a, copy](const LoadedInstant& state, std::ptrdiff_t s) {
    bench::compute_kinematics(robot, state);
    // The poses of all bodies stand side by side.
    copy(&robot.getPoseInRoot(0), a.poses_root, s, pose_numbers);
    copy(&robot.getPose(0), a.poses_world, s, pose_numbers);
    copy(&robot.getComPositionInRoot(), a.com_root, s, 3);
    copy(&robot.getComPosition(), a.com_world, s, 3);
  };
  add("kinematics", kinematics);
  add("kinematics-jacobian", [&robot, &a, copy, kinematics](const LoadedInstant& state, std::ptrdiff_t s) {
    kinematics(state, s);
    copy(robot.getJacobianInRoot().data(), a.jacobian, s, jacobian_numbers);
  });
  std::vector<int> places;
  for (int entry = 0, row = 0, column = 0; korvel_batch_mass_entry(entry, &row, &column) == KORVEL_BATCH_OK; ++entry) {
    places.push_back(row + coordinates * column);
  }
  add("mass-packed", [&robot, &a, places](const LoadedInstant& state, std::ptrdiff_t s) {
    bench::compute_mass_from_angles(robot, state);
    const float* H = robot.getGeneralizedMass().data();
    float* packed = a.mass.data + s * KORVEL_BATCH_MASS_ENTRIES;
    for (const int place : places) *packed++ = H[place];
  });
  add("mass-dense", [&robot, &a, copy](const LoadedInstant& state, std::ptrdiff_t s) {
    bench::compute_mass_from_angles(robot, state);
    copy(robot.getGeneralizedMass().data(), a.mass, s, dense_numbers);
  });
  add("dynamics", [&robot, &a](const LoadedInstant& state, std::ptrdiff_t s) {
    bench::compute_dynamics(robot, state);
    const auto torques = robot.getJointAnglesTorque();
    std::copy(torques.first, torques.last, a.forces.data + s * coordinates + 6);
  });
}

void add_batch(const std::string& who, const Batch& batch, Arrays& a) {
  const auto add = [&](const char* operation, const auto& work) {
    const auto timed =
        bench::add_benchmark(operation + ('/' + who), static_cast<std::size_t>(a.count), [work](int) { work(); });
    // This is the time of all threads.
    if (a.count == in_memory) timed->UseRealTime();
  };
  const auto kinematics = [&a, &batch](const korvel_batch_output& jacobian) {
    batch.kinematics(a.count, a.q, {a.poses_root, a.poses_world, a.com_root, a.com_world, jacobian, nullptr, 0});
  };
  const auto packed_mass = a.output(a.mass.data, KORVEL_BATCH_MASS_ENTRIES);
  add("kinematics", [=] { kinematics({}); });
  add("kinematics-jacobian", [=, &a] { kinematics(a.jacobian); });
  add("mass-packed", [=, &a, &batch] { batch.mass_packed(a.count, a.q, packed_mass); });
  add("mass-dense", [&a, &batch] { batch.mass_dense(a.count, a.q, a.mass); });
  add("dynamics", [&a, &batch] { batch.dynamics(a.count, a.q, a.dq, a.ddq, a.forces, a.wrenches); });
  add("dynamics-sums",
      [&a, &batch] { benchmark::DoNotOptimize(batch.force_sums(a.count, a.q, a.dq, a.ddq, a.wrenches)); });
  add("gradient", [&a, &batch] {
    batch.dynamics_gradient(a.count, a.q, a.dq, a.ddq, a.dq, {a.forces, a.by_q, a.by_dq, a.by_ddq}, a.wrenches);
  });
  const std::pair<const char*, korvel_batch_derivative_results> derivatives[] = {
      {"derivatives-unwritten", {a.forces, {}, {}, {}, {}}},
      {"derivatives-packed",
       {a.forces,
        a.output(a.mass.data, KORVEL_BATCH_POSITION_ENTRIES),
        a.output(a.by_velocity.data, KORVEL_BATCH_VELOCITY_ENTRIES),
        {},
        {}}},
      {"derivatives-dense", {a.forces, {}, {}, a.mass, a.by_velocity}},
  };
  for (const auto& [operation, results] : derivatives) {
    add(operation, [&a, &batch, results = results] {
      batch.dynamics_derivatives(a.count, a.q, a.dq, a.ddq, results, a.wrenches);
    });
  }
  static const std::vector<float> rotors(KORVEL_BATCH_JOINTS, 1e-3F);
  add("forward-dynamics", [&a, &batch] {
    batch.forward_dynamics(a.count, a.q, a.dq, a.ddq, {a.forces, {}}, rotors.data(), a.wrenches);
  });
  // The robot is on both feet, wherever they are. The ground cannot supply what most of these lively motions require,
  // which takes longest to compute. At rest it can, and no corner is near slipping.
  static const float corners[]{-0.045F, 0.04F,  0.1F,   -0.045F, -0.04F, 0.1F,
                               -0.045F, -0.04F, -0.05F, -0.045F, 0.04F,  -0.05F};
  static const korvel_batch_sole soles[]{{static_cast<int>(bench::feet[0]), 0.6F, corners, 4},
                                         {static_cast<int>(bench::feet[1]), 0.6F, corners, 4}};
  static const float contact[]{1, 1};
  static const korvel_batch_ground ground{0, soles, 2, {contact, 0, sizeof(float), 0}};
  const korvel_batch_stand_results only_forces{a.forces, {}, {}, {}, {}, {}, {}};
  add("stand", [=, &a, &batch] { batch.stand(a.count, a.q, a.dq, a.ddq, ground, only_forces); });
  static const float zeros[coordinates]{};
  static const korvel_batch_input rest{zeros, 0, sizeof(float), 0};
  add("stand-at-rest", [=, &a, &batch] { batch.stand(a.count, rest, rest, rest, ground, only_forces); });
}

/// Adds the peers with the same number of threads, and an object for each thread.
void add_peers(const LoadedInstants& states, int threads) {
  for (const auto& [name, entry] : bench::peers()) {
    std::vector<std::shared_ptr<bench::Peer>> objects;
    for (int t = 0; t < threads; ++t) {
      objects.push_back(entry.read(states, bench::exported_robot(entry.formats.front())));
      objects.back()->set_root_and_wrenches(0);
    }
    const std::string who = "/threads-" + std::to_string(threads) + '-' + name;
    const auto add = [&](const char* job, void (bench::Peer::*compute)(std::size_t)) {
      const auto pass = [objects, compute, count = states.size()](int thread) {
        bench::Peer& peer = *objects[static_cast<std::size_t>(thread)];
        for (std::size_t state = 0; state < count; ++state) (peer.*compute)(state);
      };
      bench::add_benchmark(job + who, states.size(), pass)->Threads(threads)->UseRealTime();
    };
    add("kinematics-jacobian", &bench::Peer::compute_kinematics);
    add("mass-dense", &bench::Peer::compute_mass);
    add("dynamics", &bench::Peer::compute_dynamics);
    add("forward-dynamics", &bench::Peer::compute_forward_dynamics);
    if (entry.has_derivatives) add("derivatives-dense", &bench::Peer::compute_derivatives);
  }
}

void run(const std::vector<std::string>& arguments) {
  if (!arguments.empty())
    throw std::invalid_argument("expected options of Google Benchmark, found '" + arguments.front() + "'");
  const LoadedInstants states = bench::seeded_instants();
  const auto in_cache = static_cast<std::ptrdiff_t>(states.size());
  Arrays rows(states, in_cache, false), tiles(states, in_cache, true), many(states, in_memory, false);
  const host::Module module(KORVEL_MODULE);
  const auto robot = module.create();
  bench::set_root_and_wrenches(*robot, states.front());
  add_module(*robot, rows);
  std::vector<std::unique_ptr<Batch>> batches;
  for (const char* set : {"baseline", "avx2", "avx512"}) {
    try {
      batches.push_back(std::make_unique<Batch>(1, set));
    } catch (const BatchError&) {
      continue;  // not on this processor
    }
    add_batch(std::string("rows-") + set, *batches.back(), rows);
    add_batch(std::string("tiles-") + set, *batches.back(), tiles);
  }
  for (const int threads : {1, 2}) {
    batches.push_back(std::make_unique<Batch>(threads));
    add_batch("threads-" + std::to_string(threads), *batches.back(), many);
    add_peers(states, threads);
  }
  benchmark::RunSpecifiedBenchmarks();
}

}  // namespace

int main(int argc, char** argv) { return korvel::bench::run_benchmarks(argc, argv, run); }
