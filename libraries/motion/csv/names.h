#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "motion/csv/csv_reader.h"

namespace korvel::host {

/// Returns " (did you mean NAME?)" with the name that is nearest to a word, upper and lower case being equal, or
/// nothing if none is near.
std::string did_you_mean(const std::string& word, const std::vector<std::string>& names);

/// The error of a column that none of the known `names` has. It tells apart a header that is missing, another separator
/// than the comma, and a unit in the name; `expected` says in words which columns there may be.
Error unknown_column(const std::filesystem::path& path, const CsvRow& header, const std::string& column,
                     const std::vector<std::string>& names, const std::string& expected);

/// Returns the place of each of the `columns` in a header that must have these, in any order, and no others. Throws
/// Error.
std::vector<std::size_t> places_of_columns(const std::filesystem::path& path, const CsvRow& header,
                                           const std::vector<std::string>& columns);

/// The index of a field among the `names` of `what`, "a body" for example. Throws Error.
std::size_t index_of_name(const std::filesystem::path& path, std::size_t line, const std::string& field,
                          const std::vector<std::string>& names, const char* what);

}  // namespace korvel::host
