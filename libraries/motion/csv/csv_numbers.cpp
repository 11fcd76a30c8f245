#include "motion/csv/csv_numbers.h"

#include <algorithm>
#include <charconv>
#include <limits>

namespace korvel::host {

void check_names_differ(const std::filesystem::path& path, const CsvRow& header) {
  const auto& names = header.fields;
  for (auto name = names.begin(); name != names.end(); ++name) {
    if (std::find(names.begin(), name, *name) != name) {
      throw error_at(path, header.line, fmt::format("expected each column once, found a second '{:.40}'", *name));
    }
  }
}

std::string_view without_plus(const std::string& field) {
  const bool has_plus = field.size() > 1 && field[0] == '+' && field[1] != '-';
  return std::string_view(field).substr(has_plus ? 1 : 0);
}

double read_number(const std::filesystem::path& path, std::size_t line, const std::string& column,
                   const std::string& field) {
  double value{};
  const std::string_view number = without_plus(field);
  const char* end = number.data() + number.size();
  const auto [stop, status] = std::from_chars(number.data(), end, value);
  const bool is_number = stop == end && !number.empty() && status != std::errc::invalid_argument;
  if (!is_number) {
    const std::string found = field.empty() ? "an empty field" : fmt::format("'{:.40}'", field);
    throw error_at(path, line, fmt::format("expected a number in column '{:.40}', found {}", column, found));
  }
  if (status != std::errc{} || !(std::abs(value) <= static_cast<double>(std::numeric_limits<float>::max()))) {
    throw error_at(
        path, line,
        fmt::format("expected a finite single-precision number in column '{:.40}', found '{:.40}'", column, field));
  }
  return value;
}

}  // namespace korvel::host
