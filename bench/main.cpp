/// Times the jobs of one or more modules, and of general libraries for the same robot, in one run.
///
///   korvel-bench [options of Google Benchmark] [MODULE]...
///
/// The first module is the reference: all others have to agree with it before anything is timed. Benchmarks are called
/// OPERATION/WHO, where WHO is "korvel", or the file if modules are named.

#include <array>
#include <list>

#include "bench/jobs.h"
#include "bench/peers/module_peer.h"
#include "bench/run_benchmarks.h"

namespace {

using namespace korvel;
using bench::LoadedInstants;

std::string name_of(const std::string& job, const std::string& who) { return job + '/' + who; }

/// A benchmark whose iterations are the states, over and over.
template <typename Pass>
void time_passes(benchmark::State& timer, std::size_t state_count, Pass&& pass) {
  const auto count = static_cast<benchmark::IterationCount>(state_count);
  while (timer.KeepRunningBatch(count)) pass();
}

/// A module under its name, with an object for each of two threads.
struct TimedModule {
  TimedModule(std::string module_name, const std::string& file)
      : name(std::move(module_name)), module(file), robots{module.create(), module.create()} {}

  std::string name;
  host::Module module;
  std::array<host::System, 2> robots;
};

void add_module(const TimedModule& module, const LoadedInstants& states) {
  for (const auto& robot : module.robots) {
    // The jobs read what this leaves behind.
    bench::set_root_and_wrenches(*robot, states.front());
    robot->setJointAnglesPos(states.front().joint_pos);
    robot->computeFwdKinematics();
  }
  for (const bench::Job& job : bench::jobs) {
    benchmark::RegisterBenchmark(name_of(job.name, module.name).c_str(), [&](benchmark::State& timer) {
      time_passes(timer, states.size(), [&] { job.pass(*module.robots[0], states); });
      timer.SetLabel(job.calls);
    });
  }
  // Real time, because two threads that wait for each other take no time of their processors.
  benchmark::RegisterBenchmark(
      name_of("threads", module.name).c_str(),
      [&](benchmark::State& timer) {
        tesk::RigidBodySystem& robot = *module.robots[static_cast<std::size_t>(timer.thread_index())];
        time_passes(timer, states.size(), [&] { bench::find_job(bench::cycle)->pass(robot, states); });
      })
      ->ThreadRange(1, 2)
      ->UseRealTime();
}

void add_peer(const bench::PeerEntry& entry, bench::Peer& peer, std::size_t state_count) {
  peer.set_root_and_wrenches(0);
  using Computation = void (bench::Peer::*)(std::size_t);
  const auto add = [&](const char* job, Computation compute) {
    const auto time = [&entry, &peer, state_count, compute](benchmark::State& timer) {
      time_passes(timer, state_count, [&] {
        for (std::size_t state = 0; state < state_count; ++state) (peer.*compute)(state);
      });
      timer.SetLabel(entry.note);
    };
    benchmark::RegisterBenchmark(name_of(job, entry.name).c_str(), time);
  };
  add(bench::kinematics, &bench::Peer::compute_kinematics);
  add(bench::mass_from_angles, &bench::Peer::compute_mass);
  add(bench::dynamics, &bench::Peer::compute_dynamics);
}

void run(const std::vector<std::string>& files) {
  const LoadedInstants states = bench::seeded_instants();
  std::list<TimedModule> modules;
  if (files.empty()) modules.emplace_back("korvel", KORVEL_MODULE);
  for (const std::string& file : files) modules.emplace_back(file, file);

  bench::ModulePeer reference(modules.front().module, states);
  for (const TimedModule& module : modules) {
    bench::ModulePeer other(module.module, states);
    bench::require_agreement(module.name, other, reference, states.size());
    add_module(module, states);
  }
  std::list<std::unique_ptr<bench::Peer>> peers;
  for (const bench::PeerEntry& entry : bench::peers()) {
    peers.push_back(entry.read(states, bench::exported_robot(entry.formats.front())));
    bench::require_agreement(entry.name, *peers.back(), reference, states.size());
    add_peer(entry, *peers.back(), states.size());
  }
  benchmark::RunSpecifiedBenchmarks();
}

}  // namespace

int main(int argc, char** argv) { return korvel::bench::run_benchmarks(argc, argv, run); }
