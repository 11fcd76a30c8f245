#pragma once

#include "validator/core/check.h"

namespace korvel::validate {

Checks object_checks();

/// Calls with as many seeds, so far apart from one another; says so.
template <typename Function>
std::string with_seeds(const Subject& subject, std::uint64_t states, Function f, std::uint64_t apart = 1) {
  for (std::uint64_t s = 0; s < states; ++s) f(subject.seed + apart * s);
  return fmt::format("{} states", states);
}

}  // namespace korvel::validate
