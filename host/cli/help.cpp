#include "host/cli/help.h"

#include <fmt/format.h>

#include <sstream>

namespace korvel::host {

namespace {

constexpr std::size_t help_width = 80;
constexpr std::size_t description_column = 26;

/// Breaks text at spaces into lines that fit beside the names of options.
std::string wrapped(const std::string& text) {
  std::istringstream words(text);
  std::string lines;
  std::size_t length = 0;
  for (std::string word; words >> word; length += word.size() + 1) {
    const bool breaks = length + word.size() > help_width - description_column;
    if (length > 0) lines += breaks ? '\n' : ' ';
    if (breaks) length = 0;
    lines += word;
  }
  return lines;
}

}  // namespace

HelpFormatter::HelpFormatter() {
  column_width(description_column);
  label("SUBCOMMAND", "COMMAND");
}

std::string HelpFormatter::make_option_opts(const CLI::Option* option) const {
  const std::string type = option->get_type_name();
  return option->get_positional() || option->get_type_size() == 0 ? "" : " " + type.substr(0, type.find(':'));
}

std::string HelpFormatter::make_option_desc(const CLI::Option* option) const {
  const std::string standard = option->get_default_str();
  return wrapped(option->get_description() + (standard.empty() ? "" : fmt::format(" (default: {})", standard)));
}

}  // namespace korvel::host
