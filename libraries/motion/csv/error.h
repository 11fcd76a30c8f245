#pragma once

#include <fmt/format.h>

#include <stdexcept>
#include <string>

#include "motion/csv/printable.h"

namespace korvel::host {

/// Says that a file or value of the user cannot be used: a module, a motion, a results file. The text is one printable
/// line for that user.
class Error : public std::runtime_error {
 public:
  explicit Error(const std::string& text) : std::runtime_error(printable(text)) {}
  /// Puts the text together as fmt::format does.
  template <typename First, typename... Rest>
  explicit Error(fmt::format_string<const First&, const Rest&...> words, const First& first, const Rest&... rest)
      : Error(fmt::format(words, first, rest...)) {}
};

}  // namespace korvel::host
