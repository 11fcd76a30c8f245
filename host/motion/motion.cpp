#include "host/motion/motion.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/io/samples.h"

namespace korvel::host {

namespace {

using Names = std::vector<std::string>;

/// Coordinate names, and `time` after them, so that a name's index is its column in a table of samples.
Names column_names(const Names& joint_names) {
  Names names{"x", "y", "z", "roll", "pitch", "yaw"};
  names.insert(names.end(), joint_names.begin(), joint_names.end());
  names.emplace_back("time");
  return names;
}

/// For each field of the header the index of its name.
std::vector<Eigen::Index> read_header(const std::filesystem::path& path, const CsvRow& header, const Names& names) {
  std::vector<Eigen::Index> columns;
  for (const std::string& field : header.fields) {
    const auto name = std::find(names.begin(), names.end(), field);
    if (name == names.end()) {
      throw error_at(
          path, header.line,
          fmt::format("expected a column named time, x, y, z, roll, pitch, yaw or as a joint, found '{:.40}'", field));
    }
    columns.push_back(name - names.begin());
  }
  return columns;
}

}  // namespace

Motion read_motion(const std::filesystem::path& path, const Names& joint_names) {
  const Names names = column_names(joint_names);
  const std::vector<CsvRow> rows = read_table(path);
  const std::vector<Eigen::Index> columns = read_header(path, rows.front(), names);
  const Eigen::ArrayXXd samples = read_samples(path, rows);

  const auto time = static_cast<Eigen::Index>(names.size()) - 1;
  Eigen::ArrayXXd table = Eigen::ArrayXXd::Zero(samples.rows(), time + 1);
  for (std::size_t i = 0; i < columns.size(); ++i) table.col(columns[i]) = samples.col(static_cast<Eigen::Index>(i));
  std::vector<std::size_t> lines;
  for (auto row = rows.begin() + 1; row != rows.end(); ++row) lines.push_back(row->line);
  return {table.col(time), table.leftCols(time), path, std::move(lines)};
}

}  // namespace korvel::host
