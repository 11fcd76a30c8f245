/// Runs one job of a module a given number of times 256 and prints nothing, for a counter of instructions.
/// Without arguments it lists the jobs.

#include <cstdio>

#include "bench/jobs.h"
#include "bench/program.h"
#include "host/robot/module.h"

namespace {

using namespace korvel;

bool run(const std::vector<std::string>& arguments) {
  if (arguments.empty()) {
    for (const auto& job : bench::jobs) std::puts(job.name);
    return true;
  }
  if (arguments.size() != 3) throw std::invalid_argument("expected MODULE OPERATION PASSES");
  const bench::Job* job = bench::find_job(arguments[1]);
  const int passes = std::stoi(arguments[2]);
  if (job == nullptr || passes < 0) throw std::invalid_argument("no job '" + arguments[1] + "', or a count below zero");
  const auto robot = host::Module(arguments[0]).create();
  const bench::LoadedInstants states = bench::seeded_instants();
  bench::prepare(*robot, states.front());
  for (int i = 0; i < passes; ++i) job->pass(*robot, states);
  return true;
}

}  // namespace

int main(int argc, char** argv) { return korvel::bench::run_program(argc, argv, run); }
