#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace korvel::host {

/// Help of at most 80 columns: an option with its type, then its description and its default. Constraints of values
/// stand in descriptions where users need them.
class HelpFormatter : public CLI::Formatter {
 public:
  HelpFormatter();
  std::string make_option_opts(const CLI::Option* option) const override;
  std::string make_option_desc(const CLI::Option* option) const override;
};

}  // namespace korvel::host
