#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace korvel::host {

/// The columns of a results file by name, one value per sample.
using ResultsTable = std::map<std::string, std::vector<double>>;

/// Reads a results file, which has at least the columns of these names, in any order; `time` increases.
/// Throws Error with the file, the line and what was expected there.
ResultsTable read_results(const std::filesystem::path& path, const std::vector<std::string>& names);

}  // namespace korvel::host
