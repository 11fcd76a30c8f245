#pragma once

#include <string>
#include <vector>

namespace korvel::host {

/// Columns of equal length as a text: base64 of a zlib stream. In the stream each column has second differences of its
/// numbers' bits, modulo 2^32: the lowest byte of each, then the next byte of each, up to the highest, because
/// neighbours share these.
std::string packed(const std::vector<std::vector<float>>& columns);

}  // namespace korvel::host
