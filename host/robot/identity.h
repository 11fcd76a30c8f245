#pragma once

#include <filesystem>
#include <string>

namespace korvel::host {

/// What the file of a module says of itself. Nothing is loaded.
struct Identity {
  std::filesystem::path path;
  std::string version = "unknown";
  std::string build_id = "unknown";  ///< of the linker, in hexadecimal
};

/// What it does not say is unknown; a file that is no library says nothing.
Identity identity(const std::filesystem::path& module);

/// One line, without its end.
std::string in_words(const Identity& identity);

}  // namespace korvel::host
