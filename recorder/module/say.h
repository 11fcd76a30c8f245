#pragma once

#include <sys/uio.h>
#include <unistd.h>

#include <array>
#include <string_view>

namespace korvel::record {

/// Writes a line to standard error, in one piece because other threads write there, too. Allocates nothing.
inline void say(std::string_view text) noexcept {
  const auto piece = [](std::string_view part) { return iovec{const_cast<char*>(part.data()), part.size()}; };
  const std::array<iovec, 3> line{piece("korvel recorder: "), piece(text), piece("\n")};
  [[maybe_unused]] const ssize_t ignored = writev(STDERR_FILENO, line.data(), line.size());
}

}  // namespace korvel::record
