/// Times a sample of a motion on the ground beside one of a robot that is held by its root.
///
///   korvel-ground-bench MOTION.csv SOLES.csv [options of Google Benchmark]

#include <benchmark/benchmark.h>

#include <iostream>

#include "host/ground/contact_phases.h"
#include "host/ground/ground_cycle.h"
#include "host/ground/soles_file.h"
#include "host/motion/cycle.h"
#include "host/motion/motion.h"
#include "host/robot/module.h"
#include "host/robot/robot.h"

namespace {

using namespace korvel;

void run(const char* motion, const char* soles) {
  const host::System system = host::Module(KORVEL_MODULE).create();
  const std::vector<std::string> bodies = host::body_names(*system);
  const host::Trajectory trajectory(host::read_motion(motion, host::joint_names(*system), bodies));
  const host::Ground ground{host::read_soles(soles, bodies), 0, {}};
  const auto phases = host::contact_phases(trajectory, ground, {}, *system);
  host::GroundCycle cycle(ground, *system);

  const auto add = [&](const char* name, const auto& pass) {
    benchmark::RegisterBenchmark(name, [&trajectory, pass](benchmark::State& timer) {
      while (timer.KeepRunningBatch(trajectory.size())) {
        for (Eigen::Index s = 0; s < trajectory.size(); ++s) pass(s);
      }
    });
  };
  add("held by the root", [&](Eigen::Index s) { host::run_cycle(*system, trajectory.at(s)); });
  add("on the ground", [&](Eigen::Index s) {
    benchmark::DoNotOptimize(cycle.run(*system, trajectory.at(s), phases, static_cast<std::size_t>(s)));
  });
  benchmark::RunSpecifiedBenchmarks();
}

}  // namespace

int main(int argc, char** argv) try {
  benchmark::Initialize(&argc, argv);
  if (argc != 3) {
    std::cerr << "usage: korvel-ground-bench MOTION.csv SOLES.csv [options of Google Benchmark]\n";
    return 2;
  }
  run(argv[1], argv[2]);
  return 0;
} catch (const std::exception& error) {
  std::cerr << error.what() << '\n';
  return 1;
}
