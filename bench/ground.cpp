/// Times a sample of a motion on the ground beside one of a robot that is held by its root.
///
///   korvel-ground-bench MOTION.csv SOLES.csv [options of Google Benchmark]

#include "bench/run_benchmarks.h"
#include "host/robot/module.h"
#include "host/robot/robot.h"
#include "host/run/ground_cycle.h"
#include "motion/motion.h"
#include "motion/trajectory.h"

namespace {

using namespace korvel;

void run(const std::vector<std::string>& files) {
  if (files.size() != 2) throw std::invalid_argument("expected MOTION.csv and SOLES.csv");
  const host::System system = host::Module(KORVEL_MODULE).create();
  const std::vector<std::string> bodies = host::body_names(*system);
  const host::Trajectory trajectory(host::read_motion(files[0], host::joint_names(*system), bodies));
  const host::Ground ground{host::read_soles(files[1], bodies), 0, {}};
  const auto shares = host::contact_shares(trajectory, ground, {}, *system);
  host::GroundCycle cycle(ground, *system);

  const auto add = [&](const char* name, const auto& compute) {
    bench::add_benchmark(name, static_cast<std::size_t>(trajectory.size()), [&trajectory, compute](int) {
      for (Eigen::Index s = 0; s < trajectory.size(); ++s) compute(s);
    });
  };
  add("held by the root", [&](Eigen::Index s) { host::run_cycle(*system, trajectory.at(s)); });
  add("on the ground", [&](Eigen::Index s) {
    benchmark::DoNotOptimize(cycle.run(*system, trajectory.at(s), shares, static_cast<std::size_t>(s)));
  });
  benchmark::RunSpecifiedBenchmarks();
}

}  // namespace

int main(int argc, char** argv) { return korvel::bench::run_benchmarks(argc, argv, run); }
