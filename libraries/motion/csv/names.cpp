#include "motion/csv/names.h"

#include <fmt/format.h>

#include <algorithm>
#include <boost/algorithm/string/case_conv.hpp>
#include <numeric>
#include <utility>

namespace korvel::host {

namespace {

/// The number of insertions, deletions and replacements that make b of a (Wagner and Fischer 1974).
std::size_t edit_distance(const std::string& a, const std::string& b) {
  std::vector<std::size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 0; i < a.size(); ++i) {
    std::size_t diagonal = std::exchange(row[0], i + 1);
    for (std::size_t j = 0; j < b.size(); ++j) {
      const std::size_t replaced = diagonal + (a[i] == b[j] ? 0U : 1U);
      diagonal = row[j + 1];
      row[j + 1] = std::min({replaced, diagonal + 1, row[j] + 1});
    }
  }
  return row[b.size()];
}

}  // namespace

std::string did_you_mean(const std::string& word, const std::vector<std::string>& names) {
  constexpr std::size_t near = 2;
  std::string best;
  std::size_t least = near + 1;
  if (word.size() > 40) return {};
  const std::string lower = boost::to_lower_copy(word);
  for (const std::string& name : names) {
    // A name of one letter is two changes away from every short word.
    const std::size_t distance = edit_distance(lower, boost::to_lower_copy(name));
    if (distance < std::min(least, name.size())) best = name, least = distance;
  }
  return best.empty() ? "" : fmt::format(" (did you mean {}?)", best);
}

Error unknown_column(const std::filesystem::path& path, const CsvRow& header, const std::string& column,
                     const std::vector<std::string>& names, const std::string& expected) {
  const auto error = [&](auto... words) { return error_at(path, header.line, words...); };
  if (header.fields.size() == 1 && column.find_first_of(";\t") != std::string::npos) {
    const char* separators = column.find(';') != std::string::npos ? "semicolons" : "tabs";
    return error("expected commas between the columns, found {}", separators);
  }
  const bool is_number = column.find_first_not_of("+-.0123456789eE") == std::string::npos;
  if (is_number && column.find_first_of("0123456789") != std::string::npos) {
    return error("expected a header row with the names of the columns, found '{:.40}'", column);
  }
  const std::string name = column.substr(0, column.find_first_of(" [("));
  if (name != column && index_in(names, name)) {
    return error("expected '{}' without its unit, found '{:.40}'", name, column);
  }
  return error("expected {}, found '{:.40}'{}", expected, column, did_you_mean(column, names));
}

std::vector<std::size_t> places_of_columns(const std::filesystem::path& path, const CsvRow& header,
                                           const std::vector<std::string>& columns) {
  const std::string expected = fmt::format("the columns {}", fmt::join(columns, ", "));
  check_names_differ(path, header);
  for (const std::string& field : header.fields) {
    if (!index_in(columns, field)) throw unknown_column(path, header, field, columns, expected);
  }
  std::vector<std::size_t> places;
  for (const std::string& name : columns) {
    const auto place = index_in(header.fields, name);
    if (!place) throw error_at(path, header.line, "expected {}, found no '{}'", expected, name);
    places.push_back(*place);
  }
  return places;
}

std::size_t index_of_name(const std::filesystem::path& path, std::size_t line, const std::string& field,
                          const std::vector<std::string>& names, const char* what) {
  if (const auto place = index_in(names, field)) return *place;
  throw error_at(path, line, "expected the name of {}, found '{:.40}'{}", what, field, did_you_mean(field, names));
}

}  // namespace korvel::host
