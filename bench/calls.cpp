/// Runs one job of a module a given number of times 256 and prints nothing, for a counter of instructions.
/// Without arguments it lists the jobs.

#include <cstdio>
#include <cstdlib>
#include <exception>

#include "bench/jobs.h"
#include "host/robot/module.h"

namespace {

using namespace korvel;

int run(const char* module, const char* name, int passes) {
  const bench::Job* job = bench::find_job(name);
  if (job == nullptr || passes < 0) {
    return std::fprintf(stderr, "korvel-calls: no job '%s', or a count below zero\n", name), 2;
  }
  const auto robot = host::Module(module).create();
  const bench::LoadedInstants states = bench::seeded_instants();
  // Some jobs read what this leaves behind.
  bench::set_root_and_wrenches(*robot, states.front());
  robot->setJointAnglesPos(states.front().joint_pos);
  robot->computeFwdKinematics();
  for (int i = 0; i < passes; ++i) job->pass(*robot, states);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 1) {
    for (const auto& job : bench::jobs) std::puts(job.name);
    return 0;
  }
  if (argc != 4) return std::fputs("usage: korvel-calls [MODULE OPERATION PASSES]\n", stderr), 2;
  try {
    return run(argv[1], argv[2], std::atoi(argv[3]));
  } catch (const std::exception& error) {
    return std::fprintf(stderr, "korvel-calls: %s\n", error.what()), 1;
  }
}
