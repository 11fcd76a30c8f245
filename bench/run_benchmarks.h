#pragma once

#include <benchmark/benchmark.h>

#include "bench/program.h"

namespace korvel::bench {

/// Registers a benchmark. `pass` is called with the number of the thread and works on `count` states, and the time is
/// that of one state. The note is printed with the results.
template <typename Pass>
benchmark::internal::Benchmark* add_benchmark(const std::string& name, std::size_t count, const Pass& pass,
                                              const std::string& note = {}) {
  return benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& timer) {
    while (timer.KeepRunningBatch(static_cast<benchmark::IterationCount>(count))) pass(timer.thread_index());
    timer.SetLabel(note);
  });
}

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
