#pragma once

#include <Eigen/Core>
#include <filesystem>
#include <vector>

#include "host/io/csv_reader.h"

namespace korvel::host {

/// Header and rows of a CSV file. Throws Error if it cannot be read, is not CSV or has no header.
std::vector<CsvRow> read_table(const std::filesystem::path& path);

/// The numbers of a table of samples: one row per row below the header, one column per field of it. The names of the
/// header differ and `time` is one of them, which increases; all numbers are finite and within single precision.
/// Throws Error with the file, the line and what was expected there.
Eigen::ArrayXXd read_samples(const std::filesystem::path& path, const std::vector<CsvRow>& rows);

}  // namespace korvel::host
