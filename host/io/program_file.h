#pragma once

#include <filesystem>

namespace korvel::host {

// What a file is by its first bytes, which are those of every machine. False if it cannot be read.

/// A program or a library.
bool is_program(const std::filesystem::path& path);

/// A library, or a program that may be loaded anywhere.
bool is_shared_library(const std::filesystem::path& path);

}  // namespace korvel::host
