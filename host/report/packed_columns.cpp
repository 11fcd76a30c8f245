#include "host/report/packed_columns.h"

#include <zlib.h>

#include <boost/archive/iterators/base64_from_binary.hpp>
#include <boost/archive/iterators/transform_width.hpp>
#include <cstdint>
#include <cstring>
#include <new>

namespace korvel::host {

namespace {

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

/// The bits of the numbers as integers, each less what its two predecessors let expect: small for a smooth curve. The
/// arithmetic is modulo 2^32, and so nothing is lost.
std::vector<std::uint32_t> second_differences(const std::vector<float>& column) {
  std::vector<std::uint32_t> numbers(column.size());
  if (!column.empty()) std::memcpy(numbers.data(), column.data(), column.size() * sizeof(float));
  for (int pass = 0; pass < 2; ++pass) {
    for (std::size_t i = numbers.size(); i-- > 1;) numbers[i] -= numbers[i - 1];
  }
  return numbers;
}

}  // namespace

std::string packed(const std::vector<std::vector<float>>& columns) {
  std::string bytes;
  for (const std::vector<float>& column : columns) {
    const std::vector<std::uint32_t> numbers = second_differences(column);
    for (int shift = 0; shift < 32; shift += 8) {
      for (const std::uint32_t number : numbers) bytes += static_cast<char>((number >> shift) & 0xffU);
    }
  }
  return base64(deflated(bytes));
}

}  // namespace korvel::host
