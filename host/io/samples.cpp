#include "host/io/samples.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

namespace korvel::host {

namespace {

/// The field of the header that is the time.
Eigen::Index check_header(const std::filesystem::path& path, const CsvRow& header) {
  const auto& names = header.fields;
  for (auto name = names.begin(); name != names.end(); ++name) {
    if (std::find(names.begin(), name, *name) != name) {
      throw error_at(path, header.line, fmt::format("expected each column once, found a second '{:.40}'", *name));
    }
  }
  const auto time = std::find(names.begin(), names.end(), "time");
  if (time == names.end()) throw error_at(path, header.line, "expected a column 'time', found none");
  return time - names.begin();
}

double read_number(const std::filesystem::path& path, std::size_t line, const std::string& column,
                   const std::string& field) {
  double value{};
  const char* end = field.data() + field.size();
  // A sign in front of a digit, which spreadsheets write and from_chars does not take.
  const bool has_plus = field.size() > 1 && field[0] == '+' && field[1] != '-';
  const auto [stop, status] = std::from_chars(field.data() + (has_plus ? 1 : 0), end, value);
  const bool is_number = stop == end && !field.empty() && status != std::errc::invalid_argument;
  if (!is_number) {
    throw error_at(path, line, fmt::format("expected a number in column '{}', found '{:.40}'", column, field));
  }
  if (status != std::errc{} || !(std::abs(value) <= static_cast<double>(std::numeric_limits<float>::max()))) {
    throw error_at(
        path, line,
        fmt::format("expected a finite single-precision number in column '{}', found '{:.40}'", column, field));
  }
  return value;
}

}  // namespace

std::vector<CsvRow> read_table(const std::filesystem::path& path) {
  std::vector<CsvRow> rows = read_csv(path);
  if (rows.empty()) throw error_at(path, 1, "expected a header row, found an empty file");
  return rows;
}

Eigen::ArrayXXd read_samples(const std::filesystem::path& path, const std::vector<CsvRow>& rows) {
  const CsvRow& header = rows.front();
  const Eigen::Index time = check_header(path, header);
  if (rows.size() == 1) throw error_at(path, header.line + 1, "expected a sample, found the end of the file");

  Eigen::ArrayXXd samples(static_cast<Eigen::Index>(rows.size()) - 1, static_cast<Eigen::Index>(header.fields.size()));
  for (Eigen::Index s = 0; s < samples.rows(); ++s) {
    const CsvRow& row = rows[static_cast<std::size_t>(s) + 1];
    if (row.fields.size() != header.fields.size()) {
      throw error_at(path, row.line,
                     fmt::format("expected {} columns, found {}", header.fields.size(), row.fields.size()));
    }
    for (std::size_t i = 0; i < row.fields.size(); ++i) {
      samples(s, static_cast<Eigen::Index>(i)) = read_number(path, row.line, header.fields[i], row.fields[i]);
    }
    if (s > 0 && samples(s, time) <= samples(s - 1, time)) {
      throw error_at(path, row.line,
                     fmt::format("expected a time after {}, found {}", samples(s - 1, time), samples(s, time)));
    }
  }
  return samples;
}

}  // namespace korvel::host
