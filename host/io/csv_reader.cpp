#include "host/io/csv_reader.h"

#include <csv.h>
#include <fmt/format.h>

#include <cerrno>
#include <fstream>
#include <new>
#include <system_error>
#include <utility>

namespace korvel::host {

namespace {

/// The streaming parser, fed line by line so that each row knows where it starts.
class Parser {
 public:
  explicit Parser(const std::filesystem::path& path) : path_(path) {
    // Reporting every line end tells a blank line from one inside a quoted field.
    if (csv_init(&parser_, CSV_STRICT | CSV_STRICT_FINI | CSV_REPALL_NL) != 0) throw std::bad_alloc();
  }
  Parser(const Parser&) = delete;
  Parser& operator=(const Parser&) = delete;
  ~Parser() { csv_free(&parser_); }

  void add(std::string line) {
    ++line_;
    if (!inside_row_) row_.line = line_;
    inside_row_ = true;
    // The parser would end a row here and the lines would no longer count.
    if (line.find('\r') != std::string::npos)
      throw error_at(path_, line_, "expected lines to end in LF or CR LF, found a lone CR");
    line += '\n';
    if (csv_parse(&parser_, line.data(), line.size(), on_field, on_row, this) != line.size()) fail(line_);
  }

  std::vector<CsvRow> finish() {
    if (csv_fini(&parser_, on_field, on_row, this) != 0) fail(row_.line);
    return std::move(rows_);
  }

 private:
  static void on_field(void* text, std::size_t length, void* self) {
    static_cast<Parser*>(self)->row_.fields.emplace_back(static_cast<const char*>(text), length);
  }

  static void on_row(int /*terminator*/, void* self) {
    auto& parser = *static_cast<Parser*>(self);
    if (!parser.row_.fields.empty()) parser.rows_.push_back(std::exchange(parser.row_, {}));
    parser.inside_row_ = false;
  }

  [[noreturn]] void fail(std::size_t line) {
    if (csv_error(&parser_) != CSV_EPARSE) throw std::bad_alloc();
    throw error_at(path_, line, "expected comma-separated fields, found a misplaced or unfinished quote");
  }

  const std::filesystem::path& path_;
  csv_parser parser_{};
  std::vector<CsvRow> rows_;
  CsvRow row_;
  std::size_t line_ = 0;
  bool inside_row_ = false;
};

}  // namespace

std::vector<CsvRow> read_csv(const std::filesystem::path& path) {
  std::error_code ignored;
  if (std::filesystem::is_directory(path, ignored)) {
    throw Error(fmt::format("{}: expected a file, found a directory", path.string()));
  }
  std::ifstream file(path, std::ios::binary);
  if (!file) throw Error(fmt::format("{}: cannot read: {}", path.string(), std::generic_category().message(errno)));

  constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";
  Parser parser(path);
  bool first = true;
  for (std::string line; std::getline(file, line); first = false) {
    if (first && line.compare(0, byte_order_mark.size(), byte_order_mark) == 0) line.erase(0, byte_order_mark.size());
    if (!line.empty() && line.back() == '\r') line.pop_back();
    parser.add(std::move(line));
  }
  if (file.bad()) throw Error(fmt::format("{}: reading failed", path.string()));
  return parser.finish();
}

Error error_at(const std::filesystem::path& path, std::size_t line, std::string_view text) {
  return Error(fmt::format("{}:{}: {}", path.string(), line, text));
}

}  // namespace korvel::host
