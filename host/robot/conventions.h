#pragma once

#include <vector>

namespace korvel::host {

struct Convention {
  const char* subject;
  const char* text;
};

/// What a host has to know of the interface's numbers, in a line each.
const std::vector<Convention>& conventions();

}  // namespace korvel::host
