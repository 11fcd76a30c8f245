/// Times calls and a control cycle of the module beside the same through the recorder, which records to a folder.
///
///   KORVEL_RECORD_TO=FOLDER korvel-record-bench [options of Google Benchmark]

#include <thread>

#include "bench/jobs.h"
#include "bench/run_benchmarks.h"
#include "host/robot/module.h"
#include "motion/trajectory.h"

namespace {

using namespace korvel;

using Call = void (*)(tesk::RigidBodySystem&, const bench::LoadedInstant&);

void add(const std::string& name, tesk::RigidBodySystem& robot, const bench::LoadedInstants& states, Call call) {
  // A host makes some calls and then pauses. New blocks are made in the pause, so that there always are some.
  constexpr int in_a_row = 2;
  constexpr int rows = 16;
  const auto batch = in_a_row * static_cast<benchmark::IterationCount>(states.size());
  const auto time = [&robot, &states, call, batch](benchmark::State& timer) {
    while (timer.KeepRunningBatch(batch)) {
      timer.PauseTiming();
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
      timer.ResumeTiming();
      for (int i = 0; i < in_a_row; ++i) {
        for (const bench::LoadedInstant& state : states) call(robot, state);
      }
    }
  };
  benchmark::RegisterBenchmark(name.c_str(), time)->Iterations(rows * batch);
}

void control_cycle(tesk::RigidBodySystem& robot, const bench::LoadedInstant& state) {
  host::set_state(robot, state);
  robot.computeFwdKinematics();
  robot.computeGeneralizedMass();
  robot.computeInverseDynamics();
  benchmark::DoNotOptimize(robot.getJointAnglesTorque());
  benchmark::DoNotOptimize(robot.getPose(13));
  benchmark::DoNotOptimize(robot.getPose(19));
  benchmark::DoNotOptimize(robot.getComPosition());
}

constexpr std::pair<const char*, Call> calls[] = {
    {"a question",
     [](auto& robot, auto& state) { benchmark::DoNotOptimize(robot.getJointAngleTorque(state.body - 1)); }},
    {"a pose", [](auto& robot, auto& state) { benchmark::DoNotOptimize(robot.getPose(state.body)); }},
    {"a joint angle", [](auto& robot, auto& state) { robot.setJointAnglePos(state.body - 1, state.joint_pos[0]); }},
    {"all joint angles", [](auto& robot, auto& state) { robot.setJointAnglesPos(state.joint_pos); }},
    {"a control cycle of 13 calls", control_cycle},
};

void run(const std::vector<std::string>& arguments) {
  if (!arguments.empty())
    throw std::invalid_argument("expected options of Google Benchmark, found '" + arguments.front() + "'");
  const host::System plain = host::Module(KORVEL_MODULE).create();
  const host::System recorded = host::Module(KORVEL_RECORDER).create();
  const bench::LoadedInstants states = bench::seeded_instants();
  for (const auto& [who, robot] : {std::pair("module", plain.get()), {"recorded", recorded.get()}}) {
    for (const auto& [what, call] : calls) add(what + ('/' + std::string(who)), *robot, states, call);
  }
  benchmark::RunSpecifiedBenchmarks();
}

}  // namespace

int main(int argc, char** argv) { return korvel::bench::run_benchmarks(argc, argv, run); }
