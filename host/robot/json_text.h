#pragma once

#include <string>

namespace korvel::host {

/// The text of every JSON file and output. Names that are not UTF-8 lose what cannot be shown.
template <typename Json>
std::string json_text(const Json& all) {
  return all.dump(2, ' ', false, Json::error_handler_t::replace) + '\n';
}

}  // namespace korvel::host
