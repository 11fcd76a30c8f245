/// Runs one operation of a module a given number of times 256 and prints nothing, for a counter of instructions.
/// Without arguments it lists the operations.

#include <cstdio>
#include <cstdlib>
#include <exception>

#include "bench/operations.h"
#include "host/module.h"

namespace {

using namespace korvel;

int run(const char* module, const char* name, int passes) {
  const bench::Operation* operation = bench::findOperation(name);
  if (operation == nullptr || passes < 0) {
    return std::fprintf(stderr, "korvel-calls: no operation '%s', or a count below zero\n", name), 2;
  }
  const auto robot = host::Module(module).create();
  const bench::States states = bench::seededStates();
  // Some operations read what this leaves behind.
  bench::setRootAndWrenches(*robot, states.front());
  robot->setJointAnglesPos(states.front().joint_pos);
  robot->computeFwdKinematics();
  for (int i = 0; i < passes; ++i) operation->pass(*robot, states);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 1) {
    for (const auto& operation : bench::operations) std::puts(operation.name);
    return 0;
  }
  if (argc != 4) return std::fputs("usage: korvel-calls [MODULE OPERATION PASSES]\n", stderr), 2;
  try {
    return run(argv[1], argv[2], std::atoi(argv[3]));
  } catch (const std::exception& error) {
    return std::fprintf(stderr, "korvel-calls: %s\n", error.what()), 1;
  }
}
