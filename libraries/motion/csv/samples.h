#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "motion/csv/csv_reader.h"

namespace korvel::host {

/// A row of a table of samples.
struct SampleRow {
  const CsvRow& row;                  ///< as it is written
  const std::vector<double>& values;  ///< in the order of the header
  double elapsed;                     ///< as in Samples
};

/// The columns of a table of samples, one value per row below the header. `time` is one of them and increases.
struct Samples {
  std::vector<std::string> names;
  std::vector<std::vector<double>> columns;
  /// The most digits after the point with which a number of each column is written; negative for whole tens.
  std::vector<int> decimals;
  std::vector<std::size_t> lines;  ///< of the file, where each sample starts
  /// Time since the first sample [s]: the difference of the decimal numbers in the file, rounded once.
  std::vector<double> elapsed;

  std::size_t count() const { return lines.size(); }
};

/// Calls on_sample with each row of a table of samples, of which there is at least one. The names of the header differ;
/// all numbers are finite and within single precision, or `nan` if there may be gaps. `check_header` may throw at names
/// that it does not like. Throws Error with the file, the line and what was expected there, and what on_sample throws.
void read_sample_rows(const std::filesystem::path& path, const std::function<void(const CsvRow& header)>& check_header,
                      const std::function<void(const SampleRow& sample)>& on_sample, bool may_have_gaps = false);

/// All of them.
Samples read_samples(const std::filesystem::path& path, const std::function<void(const CsvRow& header)>& check_header);

}  // namespace korvel::host
