#include "host/report/packed_columns.h"

#include <zlib.h>

#include <boost/archive/iterators/base64_from_binary.hpp>
#include <boost/archive/iterators/transform_width.hpp>
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

}  // namespace

std::string packed(const std::vector<std::vector<float>>& columns) {
  std::string bytes;
  for (const std::vector<float>& column : columns) {
    for (std::size_t byte = 0; byte < sizeof(float); ++byte) {
      for (const float& number : column) bytes += reinterpret_cast<const char*>(&number)[byte];
    }
  }
  return base64(deflated(bytes));
}

}  // namespace korvel::host
