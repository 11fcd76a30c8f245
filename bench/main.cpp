/// Times the jobs of one or more modules, and of general libraries for the same robot, in one run.
///
///   korvel-bench [options of Google Benchmark] [MODULE]...
///
/// The first module is the reference: all others have to agree with it before anything is timed. Benchmarks are called
/// OPERATION/WHO, where WHO is "korvel", or the file if modules are named.

#include <array>
#include <list>

#include "bench/jobs.h"
#include "bench/peers/peer.h"
#include "bench/run_benchmarks.h"

namespace {

using namespace korvel;
using bench::LoadedInstants;

/// A module under its name, with an object for each of two threads.
struct TimedModule {
  TimedModule(std::string module_name, const std::string& file)
      : name(std::move(module_name)), module(file), robots{module.create(), module.create()} {}

  std::string name;
  host::Module module;
  std::array<host::System, 2> robots;
};

void add_module(const TimedModule& module, const LoadedInstants& states) {
  for (const auto& robot : module.robots) bench::prepare(*robot, states.front());
  for (const bench::Job& job : bench::jobs) {
    const auto pass = [&](int) { job.pass(*module.robots[0], states); };
    bench::add_benchmark(job.name + ('/' + module.name), states.size(), pass, job.calls);
  }
  // Real time, because two threads that wait for each other take no time of their processors.
  const auto cycles = [&](int thread) {
    bench::find_job(bench::cycle)->pass(*module.robots[static_cast<std::size_t>(thread)], states);
  };
  bench::add_benchmark("threads/" + module.name, states.size(), cycles)->ThreadRange(1, 2)->UseRealTime();
}

void add_peer(const std::string& name, bench::Peer& peer, std::size_t count, const std::string& note) {
  peer.set_root_and_wrenches(0);
  const auto add = [&](const char* job, void (bench::Peer::*compute)(std::size_t)) {
    const auto pass = [&peer, compute, count](int) {
      for (std::size_t state = 0; state < count; ++state) (peer.*compute)(state);
    };
    bench::add_benchmark(job + ('/' + name), count, pass, note);
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

  const auto reference = bench::module_peer(modules.front().module, states);
  for (const TimedModule& module : modules) {
    bench::require_agreement(module.name, *bench::module_peer(module.module, states), *reference, states.size());
    add_module(module, states);
  }
  std::list<std::unique_ptr<bench::Peer>> peers;
  for (const auto& [name, entry] : bench::peers()) {
    peers.push_back(entry.read(states, bench::exported_robot(entry.formats.front())));
    bench::require_agreement(name, *peers.back(), *reference, states.size());
    add_peer(name, *peers.back(), states.size(), entry.note);
  }
  benchmark::RunSpecifiedBenchmarks();
}

}  // namespace

int main(int argc, char** argv) { return korvel::bench::run_benchmarks(argc, argv, run); }
