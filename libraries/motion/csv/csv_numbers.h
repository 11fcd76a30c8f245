#pragma once

#include <fmt/format.h>

#include <cmath>
#include <filesystem>
#include <iterator>
#include <string>
#include <string_view>

#include "motion/csv/csv_reader.h"

namespace korvel::host {

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

}  // namespace korvel::host
