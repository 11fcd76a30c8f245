#pragma once

#include <fmt/format.h>

#include <utility>

#include "host/validate/core/check.h"

namespace korvel::validate {

/// Throws a Finding with these words unless the promise holds.
template <typename... Args>
void require(bool holds, fmt::format_string<Args...> words, Args&&... args) {
  if (!holds) throw Finding(fmt::format(words, std::forward<Args>(args)...));
}

}  // namespace korvel::validate
