#pragma once

#include <string>
#include <vector>

namespace korvel::host {

/// Columns of equal length as a text: base64 of a zlib stream. In the stream each column has the lowest byte of each of
/// its numbers, then the next byte of each, up to the highest, because neighbouring numbers share these.
std::string packed(const std::vector<std::vector<float>>& columns);

}  // namespace korvel::host
