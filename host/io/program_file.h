#pragma once

#include <filesystem>

namespace korvel::host {

/// A program or a library, as the first bytes of the file say. False if it cannot be read.
bool is_program(const std::filesystem::path& path);

}  // namespace korvel::host
