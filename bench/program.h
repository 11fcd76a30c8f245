#pragma once

#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace korvel::bench {

/// The main function of a program: `run` takes the arguments and returns whether all is well. An exception that it
/// throws ends the program with status 1, wrong arguments (std::invalid_argument) with status 2.
template <typename Run>
int run_program(int argc, char** argv, const Run& run) try {
  return run(std::vector<std::string>(argv + 1, argv + argc)) ? 0 : 1;
} catch (const std::exception& error) {
  std::cerr << argv[0] << ": " << error.what() << '\n';
  return dynamic_cast<const std::invalid_argument*>(&error) != nullptr ? 2 : 1;
}

}  // namespace korvel::bench
