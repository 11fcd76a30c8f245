#pragma once

#include <stdexcept>
#include <string>

#include "motion/csv/printable.h"

namespace korvel::host {

/// Says that a file or value of the user cannot be used: a module, a motion, a results file. The text is one printable
/// line for that user.
class Error : public std::runtime_error {
 public:
  explicit Error(const std::string& text) : std::runtime_error(printable(text)) {}
};

}  // namespace korvel::host
