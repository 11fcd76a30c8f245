#pragma once

#include <benchmark/benchmark.h>

#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace korvel::bench {

/// The main function of a program of benchmarks. Google Benchmark takes its options out of the arguments; `run` takes
/// the others, registers benchmarks and runs them. An exception that it throws ends the program with status 1, wrong
/// arguments (std::invalid_argument) with status 2.
template <typename Run>
int run_benchmarks(int argc, char** argv, const Run& run) try {
  benchmark::Initialize(&argc, argv);
  run(std::vector<std::string>(argv + 1, argv + argc));
  return 0;
} catch (const std::invalid_argument& error) {
  std::cerr << argv[0] << ": " << error.what() << '\n';
  return 2;
} catch (const std::exception& error) {
  std::cerr << argv[0] << ": " << error.what() << '\n';
  return 1;
}

}  // namespace korvel::bench
