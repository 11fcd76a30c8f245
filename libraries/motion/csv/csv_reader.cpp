#include "motion/csv/csv_reader.h"

#include <csv.h>

#include <algorithm>
#include <boost/algorithm/string/case_conv.hpp>
#include <cerrno>
#include <charconv>
#include <fstream>
#include <limits>
#include <new>
#include <numeric>
#include <system_error>
#include <utility>

namespace korvel::host {

namespace {

constexpr std::size_t longest_row = std::size_t{1} << 20;

/// The streaming parser, fed line by line so that each row knows where it starts.
class Parser {
 public:
  using OnRow = std::function<void(const CsvRow&)>;

  Parser(const std::filesystem::path& path, const OnRow& on_row) : path_(path), hand_over_(on_row) {
    // Reporting every line end tells a blank line from one inside a quoted field.
    if (csv_init(&parser_, CSV_STRICT | CSV_STRICT_FINI | CSV_REPALL_NL) != 0) throw std::bad_alloc();
  }
  Parser(const Parser&) = delete;
  Parser& operator=(const Parser&) = delete;
  ~Parser() { csv_free(&parser_); }

  void add(std::string line) {
    ++line_;
    if (!inside_row_ && line.compare(0, 1, "#") == 0) return;
    if (!inside_row_) {
      row_.line = line_;
      length_ = 0;
    }
    inside_row_ = true;
    length_ += line.size();
    if (length_ > longest_row) fail_too_long();
    // The parser would end a row here and the lines would no longer count.
    if (line.find('\r') != std::string::npos)
      throw error_at(path_, line_, "expected lines to end in LF or CR LF, found a lone CR");
    line += '\n';
    if (csv_parse(&parser_, line.data(), line.size(), on_field, on_row, this) != line.size()) fail(line_);
    hand_over();
  }

  void finish() {
    if (csv_fini(&parser_, on_field, on_row, this) != 0) fail(row_.line);
    hand_over();
  }

  [[noreturn]] void fail_too_long() const {
    throw error_at(path_, inside_row_ ? row_.line : line_ + 1, "expected a row of at most {} MiB, found a longer one",
                   longest_row >> 20);
  }

 private:
  static void on_field(void* text, std::size_t length, void* self) {
    static_cast<Parser*>(self)->row_.fields.emplace_back(static_cast<const char*>(text), length);
  }

  static void on_row(int /*terminator*/, void* self) {
    auto& parser = *static_cast<Parser*>(self);
    parser.complete_ = !parser.row_.fields.empty();
    parser.inside_row_ = false;
  }

  /// Hands the row over outside of the parser, which is written in C, because the function may throw. A line ends one
  /// row at most.
  void hand_over() {
    if (complete_) hand_over_(std::exchange(row_, {}));
    complete_ = false;
  }

  [[noreturn]] void fail(std::size_t line) {
    if (csv_error(&parser_) != CSV_EPARSE) throw std::bad_alloc();
    throw error_at(path_, line, "expected comma-separated fields, found a misplaced or unfinished quote");
  }

  const std::filesystem::path& path_;
  csv_parser parser_{};
  const OnRow& hand_over_;
  CsvRow row_;
  std::size_t line_ = 0;
  std::size_t length_ = 0;  ///< of the row up to here
  bool complete_ = false;
  bool inside_row_ = false;
};

}  // namespace

std::optional<std::size_t> index_in(const std::vector<std::string>& names, const std::string& name) {
  const auto found = std::find(names.begin(), names.end(), name);
  return found == names.end() ? std::nullopt : std::optional(static_cast<std::size_t>(found - names.begin()));
}

void read_csv(const std::filesystem::path& path, const std::function<void(const CsvRow&)>& on_row) {
  // A pipe that the caller has opened has no path. Opening one that has a path would wait for a writer.
  std::error_code no_path;
  const std::filesystem::path target = std::filesystem::canonical(path, no_path);
  if (!no_path && !std::filesystem::is_regular_file(target)) {
    const char* found = std::filesystem::is_directory(target) ? "directory" : "device or pipe";
    throw Error("{}: expected a file, found a {}", path.string(), found);
  }
  std::ifstream file(path, std::ios::binary);
  if (path.empty()) throw Error("expected the path of a file, found ''");
  if (!file) throw Error("{}: cannot read: {}", path.string(), std::generic_category().message(errno));

  constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";
  Parser parser(path, on_row);
  // One character more than a row may have, so that a line that never ends is seen without being read to its end.
  std::vector<char> buffer(longest_row + 2);
  for (bool first = true; file.getline(buffer.data(), static_cast<std::streamsize>(buffer.size())); first = false) {
    // Counted is the end of the line too, if there was one.
    std::string line(buffer.data(), static_cast<std::size_t>(file.gcount()) - (file.eof() ? 0 : 1));
    if (first && line.compare(0, byte_order_mark.size(), byte_order_mark) == 0) line.erase(0, byte_order_mark.size());
    if (!line.empty() && line.back() == '\r') line.pop_back();
    parser.add(std::move(line));
  }
  if (file.bad()) throw Error("{}: reading failed", path.string());
  if (file.fail() && !file.eof()) parser.fail_too_long();
  parser.finish();
}

void read_table(const std::filesystem::path& path, std::string_view row,
                const std::function<void(const CsvRow&)>& on_header, const std::function<void(const CsvRow&)>& on_row) {
  std::size_t header_line = 0;
  std::size_t columns = 0;
  bool has_rows = false;
  read_csv(path, [&](const CsvRow& found) {
    if (header_line == 0) {
      on_header(found);
      header_line = found.line;
      columns = found.fields.size();
      return;
    }
    if (found.fields.size() != columns) {
      throw error_at(path, found.line, "expected {} columns, found {}", columns, found.fields.size());
    }
    has_rows = true;
    on_row(found);
  });
  if (header_line == 0) throw error_at(path, 1, "expected a header row, found an empty file");
  if (!has_rows) throw error_at(path, header_line + 1, "expected a {}, found the end of the file", row);
}

void check_names_differ(const std::filesystem::path& path, const CsvRow& header) {
  const auto& names = header.fields;
  for (auto name = names.begin(); name != names.end(); ++name) {
    if (std::find(names.begin(), name, *name) != name) {
      throw error_at(path, header.line, "expected each column once, found a second '{:.40}'", *name);
    }
  }
}

std::string_view without_plus(const std::string& field) {
  const bool has_plus = field.size() > 1 && field[0] == '+' && field[1] != '-';
  return std::string_view(field).substr(has_plus ? 1 : 0);
}

double read_number(const std::filesystem::path& path, std::size_t line, const std::string& column,
                   const std::string& field) {
  double value{};
  const std::string_view number = without_plus(field);
  const char* end = number.data() + number.size();
  const auto [stop, status] = std::from_chars(number.data(), end, value);
  const bool is_number = stop == end && !number.empty() && status != std::errc::invalid_argument;
  if (!is_number) {
    const std::string found = field.empty() ? "an empty field" : fmt::format("'{:.40}'", field);
    throw error_at(path, line, "expected a number in column '{:.40}', found {}", column, found);
  }
  if (status != std::errc{} || !(std::abs(value) <= static_cast<double>(std::numeric_limits<float>::max()))) {
    throw error_at(path, line, "expected a finite single-precision number in column '{:.40}', found '{:.40}'", column,
                   field);
  }
  return value;
}

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
