#pragma once

#include <zlib.h>

#include <cstdint>
#include <cstring>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <vector>

namespace korvel::host {

/// Text of the element of data.
inline std::string data_text(const std::string& page) {
  const std::string tag = R"(<script type="application/json" id="data">)";
  const std::size_t start = page.find(tag) + tag.size();
  return page.substr(start, page.find("</script>", start) - start);
}

inline std::string decode_base64(const std::string& text) {
  const std::string digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string bytes;
  unsigned bits = 0;
  int count = 0;
  for (const char c : text.substr(0, text.find('='))) {
    bits = bits << 6 | static_cast<unsigned>(digits.find(c));
    count += 6;
    if (count < 8) continue;
    count -= 8;
    bytes += static_cast<char>(bits >> count & 0xff);
  }
  return bytes;
}

/// Reads packed columns as they are described, knowing nothing of how they are written.
class Unpacked {
 public:
  Unpacked(const std::string& base64, std::size_t samples) : samples_(samples) {
    const std::string packed = decode_base64(base64);
    uLongf size = 0;
    int status = Z_BUF_ERROR;
    for (std::size_t room = 1024; status == Z_BUF_ERROR; room *= 2) {
      bytes_.resize(size = room);
      status = uncompress(reinterpret_cast<Bytef*>(bytes_.data()), &size, reinterpret_cast<const Bytef*>(packed.data()),
                          packed.size());
    }
    if (status != Z_OK) throw std::runtime_error("expected a zlib stream");
    bytes_.resize(size);
  }

  std::size_t columns() const { return (bytes_.size() / samples_ - 8) / 4; }

  std::vector<double> time() const {
    std::vector<double> time(samples_);
    for (std::size_t s = 0; s < samples_; ++s) {
      const std::uint64_t bits = number(0, 8, s);
      std::memcpy(&time[s], &bits, sizeof bits);
    }
    return time;
  }

  std::vector<float> exact(std::size_t column) const {
    std::vector<float> values(samples_);
    std::memcpy(values.data(), integers(column).data(), 4 * samples_);
    return values;
  }

  std::vector<double> rounded(std::size_t column, double unit) const {
    std::vector<double> values;
    for (const std::uint32_t integer : integers(column)) values.push_back(static_cast<std::int32_t>(integer) * unit);
    return values;
  }

 private:
  std::uint64_t number(std::size_t start, std::size_t width, std::size_t sample) const {
    std::uint64_t number = 0;
    for (std::size_t weight = 0; weight < width; ++weight) {
      const auto byte = static_cast<unsigned char>(bytes_.at(start + weight * samples_ + sample));
      number |= std::uint64_t{byte} << (8 * weight);
    }
    return number;
  }

  std::vector<std::uint32_t> integers(std::size_t column) const {
    std::vector<std::uint32_t> integers;
    std::uint32_t difference = 0;
    std::uint32_t value = 0;
    for (std::size_t s = 0; s < samples_; ++s) {
      difference += static_cast<std::uint32_t>(number((8 + 4 * column) * samples_, 4, s));
      value += difference;
      integers.push_back(value);
    }
    return integers;
  }

  std::size_t samples_;
  std::string bytes_;
};

}  // namespace korvel::host
