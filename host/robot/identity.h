#pragma once

#include <filesystem>
#include <string>

namespace korvel::host {

/// Version and build that the file of a module names. Nothing is loaded.
struct Identity {
  std::filesystem::path path;
  std::string version = "unknown";
  std::string build_id = "unknown";  ///< of the linker, in hexadecimal
};

/// Reads them from the file. Both are "unknown" if the file does not name them or is not a library.
Identity identity(const std::filesystem::path& module);

/// Path and version, then the build, in a line each.
std::string lines_of(const Identity& identity);

}  // namespace korvel::host
