#include "host/results/results_table.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/io/samples.h"

namespace korvel::host {

namespace {

/// Where the column of a name is.
std::size_t find_column(const std::filesystem::path& path, const CsvRow& header, const std::string& name) {
  const auto found = std::find(header.fields.begin(), header.fields.end(), name);
  if (found == header.fields.end()) {
    throw error_at(path, header.line,
                   fmt::format("expected the column '{:.40}' that 'korvel-host run' writes, found none", name));
  }
  return static_cast<std::size_t>(found - header.fields.begin());
}

}  // namespace

void read_results(const std::filesystem::path& path, const std::vector<std::string>& required,
                  const std::vector<std::string>& names, const std::function<void(const ResultsSample&)>& on_sample) {
  std::size_t time = 0;
  std::vector<std::size_t> columns;
  const auto find_columns = [&](const CsvRow& header) {
    for (const std::string& name : required) find_column(path, header, name);
    for (const std::string& name : names) columns.push_back(find_column(path, header, name));
    time = find_column(path, header, "time");
  };
  std::vector<float> values(names.size());
  read_sample_rows(path, find_columns, [&](const SampleRow& sample) {
    std::transform(columns.begin(), columns.end(), values.begin(),
                   [&](std::size_t column) { return static_cast<float>(sample.values[column]); });
    on_sample({sample.values[time], sample.elapsed, values});
  });
}

}  // namespace korvel::host
