#pragma once

#include <benchmark/benchmark.h>

#include "bench/program.h"

namespace korvel::bench {

/// The main function of a program of benchmarks. Google Benchmark takes its options out of the arguments; `run` takes
/// the others, registers benchmarks and runs them.
template <typename Run>
int run_benchmarks(int argc, char** argv, const Run& run) {
  benchmark::Initialize(&argc, argv);
  return run_program(argc, argv, [&](const std::vector<std::string>& arguments) {
    run(arguments);
    return true;
  });
}

}  // namespace korvel::bench
