#include "host/motion.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

#include "host/csv_reader.h"

namespace korvel::host {

namespace {

using Names = std::vector<std::string>;

/// Coordinate names, and `time` after them, so that a name's index is its column in a table of samples.
Names columnNames(const Names& joint_names) {
  Names names{"x", "y", "z", "roll", "pitch", "yaw"};
  names.insert(names.end(), joint_names.begin(), joint_names.end());
  names.emplace_back("time");
  return names;
}

/// For each field of the header the index of its name.
std::vector<Eigen::Index> readHeader(const std::filesystem::path& path, const CsvRow& header, const Names& names) {
  std::vector<Eigen::Index> columns;
  for (const std::string& field : header.fields) {
    const auto name = std::find(names.begin(), names.end(), field);
    if (name == names.end()) {
      throw errorAt(
          path, header.line,
          fmt::format("expected a column named time, x, y, z, roll, pitch, yaw or as a joint, found '{:.40}'", field));
    }
    const Eigen::Index column = name - names.begin();
    if (std::find(columns.begin(), columns.end(), column) != columns.end()) {
      throw errorAt(path, header.line, fmt::format("expected each column once, found a second '{}'", field));
    }
    columns.push_back(column);
  }
  const auto time = static_cast<Eigen::Index>(names.size()) - 1;
  if (std::find(columns.begin(), columns.end(), time) == columns.end()) {
    throw errorAt(path, header.line, "expected a column 'time', found none");
  }
  return columns;
}

double readNumber(const std::filesystem::path& path, std::size_t line, const std::string& column,
                  const std::string& field) {
  double value{};
  const char* end = field.data() + field.size();
  // A sign in front of a digit, which spreadsheets write and from_chars does not take.
  const bool has_plus = field.size() > 1 && field[0] == '+' && field[1] != '-';
  const auto [stop, status] = std::from_chars(field.data() + (has_plus ? 1 : 0), end, value);
  const bool is_number = stop == end && !field.empty() && status != std::errc::invalid_argument;
  if (!is_number) {
    throw errorAt(path, line, fmt::format("expected a number in column '{}', found '{:.40}'", column, field));
  }
  if (status != std::errc{} || !(std::abs(value) <= static_cast<double>(std::numeric_limits<float>::max()))) {
    throw errorAt(
        path, line,
        fmt::format("expected a finite single-precision number in column '{}', found '{:.40}'", column, field));
  }
  return value;
}

}  // namespace

Names jointNames(const tesk::RigidBodySystem& system) {
  Names names;
  for (unsigned long j = 0; j < system.getNbJointAngles(); ++j) names.push_back(system.getJointAngleName(j));
  return names;
}

Motion readMotion(const std::filesystem::path& path, const Names& joint_names) {
  const Names names = columnNames(joint_names);
  const std::vector<CsvRow> rows = readCsv(path);
  if (rows.empty()) throw errorAt(path, 1, "expected a header row, found an empty file");
  const std::vector<Eigen::Index> columns = readHeader(path, rows.front(), names);
  if (rows.size() == 1) throw errorAt(path, rows.front().line + 1, "expected a sample, found the end of the file");

  const auto time = static_cast<Eigen::Index>(names.size()) - 1;
  Eigen::ArrayXXd table = Eigen::ArrayXXd::Zero(static_cast<Eigen::Index>(rows.size()) - 1, time + 1);
  std::vector<std::size_t> lines;
  for (Eigen::Index sample = 0; sample < table.rows(); ++sample) {
    const CsvRow& row = rows[static_cast<std::size_t>(sample) + 1];
    lines.push_back(row.line);
    if (row.fields.size() != columns.size()) {
      throw errorAt(path, row.line, fmt::format("expected {} columns, found {}", columns.size(), row.fields.size()));
    }
    for (std::size_t i = 0; i < columns.size(); ++i) {
      const std::string& name = names[static_cast<std::size_t>(columns[i])];
      table(sample, columns[i]) = readNumber(path, row.line, name, row.fields[i]);
    }
    if (sample > 0 && table(sample, time) <= table(sample - 1, time)) {
      throw errorAt(path, row.line,
                    fmt::format("expected a time after {}, found {}", table(sample - 1, time), table(sample, time)));
    }
  }
  return {table.col(time), table.leftCols(time), path, std::move(lines)};
}

}  // namespace korvel::host
