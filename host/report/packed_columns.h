#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace korvel::host {

/// Columns of numbers over time as a text of base64, a byte or two for each. Under it is a zlib stream: the doubles of
/// the time and then, for each column, a 32-bit integer for each sample, from which the one before was subtracted
/// modulo 2^32, twice over: curves are smooth, and what is left is small. The bytes of a column stand by their weight:
/// the lowest of all its numbers, then the next of all.
class PackedColumns {
 public:
  explicit PackedColumns(const std::vector<double>& time);

  /// The integers are the bits of the values. Returns the column's index.
  std::size_t add_exactly(const std::vector<float>& values);

  /// The integers are multiples of a unit, which is far below what can be seen in a picture: 2 to the power of
  /// `finest`, or more where values are too large for it.
  struct Rounded {
    std::size_t column;
    double unit;
  };
  static constexpr int micrometres = -16;  ///< 15 of them, in metres
  Rounded add_rounded(const std::vector<float>& values, int finest = micrometres);

  std::string text() const;

 private:
  std::size_t add(std::vector<std::uint32_t> integers);

  std::string bytes_;
  std::size_t columns_ = 0;
};

}  // namespace korvel::host
