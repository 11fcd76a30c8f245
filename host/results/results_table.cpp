#include "host/results/results_table.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/io/samples.h"

namespace korvel::host {

ResultsTable read_results(const std::filesystem::path& path, const std::vector<std::string>& names) {
  const std::vector<CsvRow> rows = read_table(path);
  const std::vector<std::string>& fields = rows.front().fields;
  const auto missing = std::find_if(names.begin(), names.end(), [&](const std::string& name) {
    return std::find(fields.begin(), fields.end(), name) == fields.end();
  });
  if (missing != names.end()) {
    throw error_at(path, rows.front().line,
                   fmt::format("expected the column '{}' that 'korvel-host run' writes, found none", *missing));
  }
  const Eigen::ArrayXXd samples = read_samples(path, rows);
  ResultsTable table;
  for (std::size_t i = 0; i < fields.size(); ++i) {
    const auto column = samples.col(static_cast<Eigen::Index>(i));
    table.emplace(fields[i], std::vector<double>(column.begin(), column.end()));
  }
  return table;
}

}  // namespace korvel::host
