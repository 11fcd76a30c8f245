#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "host/io/error.h"

namespace korvel::host {

struct CsvRow {
  /// Line of the file in which the row starts, from 1.
  std::size_t line{};
  std::vector<std::string> fields;
};

/// All rows of a CSV file, unquoted fields without surrounding blanks. Blank lines are no rows; quoted fields may span
/// lines. Lines end in LF or CR LF, a UTF-8 byte order mark is skipped.
/// Throws Error if the file cannot be read or is not CSV.
std::vector<CsvRow> read_csv(const std::filesystem::path& path);

/// The error "path:line: text".
Error error_at(const std::filesystem::path& path, std::size_t line, std::string_view text);

}  // namespace korvel::host
