#include "host/results/results_table.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "host/io/samples.h"

namespace korvel::host {

ResultsTable read_results(const std::filesystem::path& path, const std::vector<std::string>& names) {
  const auto has_all = [&](const CsvRow& header) {
    const auto missing = std::find_if(names.begin(), names.end(), [&](const std::string& name) {
      return std::find(header.fields.begin(), header.fields.end(), name) == header.fields.end();
    });
    if (missing == names.end()) return;
    throw error_at(path, header.line,
                   fmt::format("expected the column '{:.40}' that 'korvel-host run' writes, found none", *missing));
  };
  Samples samples = read_samples(path, has_all);
  ResultsTable table;
  for (std::size_t i = 0; i < samples.names.size(); ++i) {
    table.emplace(samples.names[i], std::move(samples.columns[i]));
  }
  return table;
}

}  // namespace korvel::host
