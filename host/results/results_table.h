#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace korvel::host {

/// A sample of a results file as it is read.
struct ResultsSample {
  double time;                       ///< [s]
  double elapsed;                    ///< since the first sample [s], also exact where times are large
  const std::vector<float>& values;  ///< of the columns that were asked for, in their order
};

/// Calls on_sample with each sample of a results file, which has at least the columns `required`, in any order; `time`
/// is one of them and increases. `names` are some of these.
/// Throws Error with the file, the line and what was expected there.
void read_results(const std::filesystem::path& path, const std::vector<std::string>& required,
                  const std::vector<std::string>& names, const std::function<void(const ResultsSample&)>& on_sample);

}  // namespace korvel::host
