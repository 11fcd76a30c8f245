#include "host/io/samples.h"

#include <fmt/format.h>

#include <algorithm>
#include <boost/multiprecision/cpp_dec_float.hpp>
#include <cstdlib>
#include <limits>

#include "host/io/csv_numbers.h"

namespace korvel::host {

namespace {

// Holds the difference of any two times: doubles end at 17 digits, these at 50.
using Decimal = boost::multiprecision::cpp_dec_float_50;

/// The field of the header that is the time.
std::size_t time_column(const std::filesystem::path& path, const CsvRow& header) {
  check_names_differ(path, header);
  const auto& names = header.fields;
  const auto time = std::find(names.begin(), names.end(), "time");
  if (time == names.end()) throw error_at(path, header.line, "expected a column 'time', found none");
  return static_cast<std::size_t>(time - names.begin());
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

/// Takes the rows of a file.
class Reader {
 public:
  using CheckHeader = std::function<void(const CsvRow& header)>;
  using OnSample = std::function<void(const SampleRow& sample)>;

  Reader(const std::filesystem::path& path, const CheckHeader& check_header, const OnSample& on_sample)
      : path_(path), check_header_(check_header), on_sample_(on_sample) {}

  void add(const CsvRow& row) { names_.empty() ? add_header(row) : add_sample(row); }

  void finish() const {
    if (names_.empty()) throw error_at(path_, 1, "expected a header row, found an empty file");
    if (last_time_.empty()) throw error_at(path_, header_line_ + 1, "expected a sample, found the end of the file");
  }

 private:
  void add_header(const CsvRow& row) {
    check_header_(row);
    time_ = time_column(path_, row);
    header_line_ = row.line;
    names_ = row.fields;
    values_.resize(names_.size());
  }

  void add_sample(const CsvRow& row) {
    if (row.fields.size() != names_.size()) {
      throw error_at(path_, row.line, fmt::format("expected {} columns, found {}", names_.size(), row.fields.size()));
    }
    for (std::size_t i = 0; i < names_.size(); ++i) {
      values_[i] = read_number(path_, row.line, names_[i], row.fields[i]);
    }
    const bool is_first = last_time_.empty();
    const Decimal time{std::string(without_plus(row.fields[time_]))};
    if (is_first) first_time_ = time;
    const auto elapsed = static_cast<double>(Decimal(time - first_time_));
    if (!is_first && !(elapsed > elapsed_)) {
      throw error_at(path_, row.line,
                     fmt::format("expected a time after {:.40}, found {:.40}", last_time_, row.fields[time_]));
    }
    last_time_ = row.fields[time_];
    elapsed_ = elapsed;
    on_sample_({row, values_, elapsed});
  }

  const std::filesystem::path& path_;
  const CheckHeader& check_header_;
  const OnSample& on_sample_;
  std::vector<std::string> names_;
  std::size_t header_line_ = 0;
  std::size_t time_ = 0;
  Decimal first_time_;
  std::string last_time_;
  double elapsed_ = 0;
  std::vector<double> values_;
};

}  // namespace

void read_sample_rows(const std::filesystem::path& path, const std::function<void(const CsvRow& header)>& check_header,
                      const std::function<void(const SampleRow& sample)>& on_sample) {
  Reader reader(path, check_header, on_sample);
  read_csv(path, [&](const CsvRow& row) { reader.add(row); });
  reader.finish();
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
