#include "host/report/packed_columns.h"

#include <zlib.h>

#include <algorithm>
#include <boost/archive/iterators/base64_from_binary.hpp>
#include <boost/archive/iterators/transform_width.hpp>
#include <cmath>
#include <cstring>
#include <new>

namespace korvel::host {

namespace {

template <typename Unsigned>
void append_by_weight(std::string& bytes, const std::vector<Unsigned>& numbers) {
  for (unsigned shift = 0; shift < 8 * sizeof(Unsigned); shift += 8) {
    for (const Unsigned number : numbers) bytes += static_cast<char>(number >> shift & 0xff);
  }
}

template <typename Unsigned, typename Real>
std::vector<Unsigned> bits_of(const std::vector<Real>& values) {
  static_assert(sizeof(Unsigned) == sizeof(Real));
  std::vector<Unsigned> bits(values.size());
  if (!values.empty()) std::memcpy(bits.data(), values.data(), values.size() * sizeof(Real));
  return bits;
}

std::string deflated(const std::string& bytes) {
  uLongf size = compressBound(bytes.size());
  std::string result(size, '\0');
  if (compress(reinterpret_cast<Bytef*>(result.data()), &size, reinterpret_cast<const Bytef*>(bytes.data()),
               bytes.size()) != Z_OK) {
    throw std::bad_alloc();
  }
  result.resize(size);
  return result;
}

std::string base64(std::string bytes) {
  using namespace boost::archive::iterators;
  using Digits = base64_from_binary<transform_width<std::string::const_iterator, 6, 8>>;
  const std::size_t padding = (3 - bytes.size() % 3) % 3;
  bytes.append(padding, '\0');
  std::string text(Digits(bytes.cbegin()), Digits(bytes.cend()));
  return text.replace(text.size() - padding, padding, padding, '=');
}

}  // namespace

PackedColumns::PackedColumns(const std::vector<double>& time) {
  append_by_weight(bytes_, bits_of<std::uint64_t>(time));
}

std::size_t PackedColumns::add(std::vector<std::uint32_t> integers) {
  for (int order = 0; order < 2; ++order) {
    for (std::size_t i = integers.size(); i-- > 1;) integers[i] -= integers[i - 1];
  }
  append_by_weight(bytes_, integers);
  return columns_++;
}

std::size_t PackedColumns::add_exactly(const std::vector<float>& values) { return add(bits_of<std::uint32_t>(values)); }

PackedColumns::Rounded PackedColumns::add_rounded(const std::vector<float>& values, int finest) {
  constexpr int largest_integer = 30;
  float largest = 0;
  for (const float value : values) largest = std::max(largest, std::abs(value));
  int exponent = 0;
  std::frexp(largest, &exponent);
  const double unit = std::ldexp(1, std::max(exponent - largest_integer, finest));
  std::vector<std::uint32_t> integers;
  integers.reserve(values.size());
  for (const float value : values) {
    integers.push_back(
        static_cast<std::uint32_t>(static_cast<std::int32_t>(std::lround(static_cast<double>(value) / unit))));
  }
  return {add(std::move(integers)), unit};
}

std::string PackedColumns::text() const { return base64(deflated(bytes_)); }

}  // namespace korvel::host
