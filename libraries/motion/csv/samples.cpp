#include "motion/csv/samples.h"

#include <algorithm>
#include <boost/multiprecision/cpp_dec_float.hpp>
#include <cstdlib>
#include <limits>

namespace korvel::host {

namespace {

// Holds the difference of any two times: doubles end at 17 digits, these at 50.
using Decimal = boost::multiprecision::cpp_dec_float_50;

/// The field of the header that is the time.
std::size_t time_column(const std::filesystem::path& path, const CsvRow& header) {
  check_names_differ(path, header);
  if (const auto time = index_in(header.fields, "time")) return *time;
  throw error_at(path, header.line, "expected a column 'time', found none");
}

/// Digits after the point, less the exponent.
int decimals_of(const std::string& number) {
  const std::size_t exponent = number.find_first_of("eE");
  const std::string mantissa = number.substr(0, exponent);
  const std::size_t point = mantissa.find('.');
  const int digits = point == std::string::npos ? 0 : static_cast<int>(mantissa.size() - point) - 1;
  const long scale = exponent == std::string::npos ? 0 : std::strtol(number.c_str() + exponent + 1, nullptr, 10);
  return digits - static_cast<int>(std::clamp(scale, -1000L, 1000L));
}

}  // namespace

void read_sample_rows(const std::filesystem::path& path, const std::function<void(const CsvRow& header)>& check_header,
                      const std::function<void(const SampleRow& sample)>& on_sample, bool may_have_gaps) {
  std::vector<std::string> names;
  std::vector<double> values;
  std::size_t time_place = 0;
  Decimal first_time;
  std::string last_time;
  double last_elapsed = 0;
  const auto on_header = [&](const CsvRow& row) {
    check_header(row);
    time_place = time_column(path, row);
    names = row.fields;
    values.resize(names.size());
  };
  read_table(path, "sample", on_header, [&](const CsvRow& row) {
    for (std::size_t i = 0; i < names.size(); ++i) {
      const bool is_gap = may_have_gaps && i != time_place && row.fields[i] == not_finite;
      values[i] =
          is_gap ? std::numeric_limits<double>::quiet_NaN() : read_number(path, row.line, names[i], row.fields[i]);
    }
    const std::string& field = row.fields[time_place];
    const Decimal time{std::string(without_plus(field))};
    if (last_time.empty()) first_time = time;
    const auto elapsed = static_cast<double>(Decimal(time - first_time));
    if (!last_time.empty() && !(elapsed > last_elapsed)) {
      throw error_at(path, row.line, "expected times that increase, found {1:.40} after {0:.40}", last_time, field);
    }
    last_time = field;
    last_elapsed = elapsed;
    on_sample({row, values, elapsed});
  });
}

Samples read_samples(const std::filesystem::path& path, const std::function<void(const CsvRow& header)>& check_header) {
  Samples samples;
  const auto add_header = [&](const CsvRow& header) {
    check_header(header);
    samples.names = header.fields;
    samples.columns.resize(header.fields.size());
    samples.decimals.assign(header.fields.size(), std::numeric_limits<int>::min());
  };
  read_sample_rows(path, add_header, [&](const SampleRow& sample) {
    for (std::size_t i = 0; i < sample.values.size(); ++i) {
      samples.columns[i].push_back(sample.values[i]);
      samples.decimals[i] = std::max(samples.decimals[i], decimals_of(sample.row.fields[i]));
    }
    samples.elapsed.push_back(sample.elapsed);
    samples.lines.push_back(sample.row.line);
  });
  return samples;
}

}  // namespace korvel::host
