#pragma once

#include <fmt/format.h>

#include <cmath>
#include <filesystem>
#include <functional>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "motion/csv/error.h"

namespace korvel::host {

struct CsvRow {
  /// Line of the file in which the row starts, from 1.
  std::size_t line{};
  std::vector<std::string> fields;
};

/// The index of a name among others, if it is one of them.
std::optional<std::size_t> index_in(const std::vector<std::string>& names, const std::string& name);

/// Calls on_row with each row of a CSV file, unquoted fields without surrounding blanks. Blank lines and
/// lines that begin with # are no rows; quoted fields may span lines. Lines end in LF or CR LF, a UTF-8 byte order mark
/// is skipped. A row is at most 1 MiB long, whatever the file is. Throws Error if the file cannot be read or is not
/// CSV, and what on_row throws.
void read_csv(const std::filesystem::path& path, const std::function<void(const CsvRow&)>& on_row);

/// Calls on_header with the first row of a CSV file and on_row with each row below, which has as many fields. There is
/// at least one: a `row`, in words. Throws Error, and what the functions throw.
void read_table(const std::filesystem::path& path, std::string_view row,
                const std::function<void(const CsvRow&)>& on_header, const std::function<void(const CsvRow&)>& on_row);

/// The error "path:line: text".
inline Error error_at(const std::filesystem::path& path, std::size_t line, const std::string& text) {
  return Error("{}:{}: {}", path.string(), line, text);
}
/// The same with a text that is put together as fmt::format does.
template <typename First, typename... Rest>
Error error_at(const std::filesystem::path& path, std::size_t line,
               fmt::format_string<const First&, const Rest&...> words, const First& first, const Rest&... rest) {
  return error_at(path, line, fmt::format(words, first, rest...));
}

/// Throws Error if two fields of a header are the same.
void check_names_differ(const std::filesystem::path& path, const CsvRow& header);

/// A field without the sign that spreadsheets write in front of a digit and from_chars does not take.
std::string_view without_plus(const std::string& field);

/// The number of a field, finite and within single precision. Throws Error.
double read_number(const std::filesystem::path& path, std::size_t line, const std::string& column,
                   const std::string& field);

/// Results have this text for a number that is not finite.
inline constexpr std::string_view not_finite = "nan";

/// Appends a number with as many digits as give the same value back, or `not_finite`.
template <typename Number>
void append_number(std::string& text, Number number) {
  if (std::isfinite(number)) {
    fmt::format_to(std::back_inserter(text), "{}", number);
  } else {
    text += not_finite;
  }
}

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
