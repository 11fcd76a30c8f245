#pragma once

#include <CLI/CLI.hpp>
#include <exception>
#include <filesystem>
#include <optional>

#include "host/process/output_file.h"

namespace korvel::host {

/// Adds the subcommand of that name. It runs while the command line is parsed and throws Error or Findings.
using AddCommand = void(CLI::App& app);
AddCommand add_info, add_export, add_replay, add_report, add_run, add_soak, add_validate;

/// The commands, in the order in which help lists them.
inline constexpr AddCommand* commands[] = {add_info,   add_run,  add_report,  add_replay,
                                           add_export, add_soak, add_validate};

/// The command did its work and has already told of what it found wrong.
class Findings : public std::exception {};

/// The module that is loaded unless another one is named: beside the executable as built, or as installed.
std::filesystem::path default_module();

/// The page of the report without data, if it was built.
std::filesystem::path report_template();

/// Throws Error if the page of the report was not built.
void require_report_template();

/// Writes the report of results, with the curves of `other` results over theirs, and commits the page. Throws Error.
void write_page(const std::filesystem::path& results, const std::optional<std::filesystem::path>& other,
                OutputFile& page);

/// The files of a command, with those that belong to the executable kept already, and the module.
Outputs outputs_beside(const std::filesystem::path& module);

}  // namespace korvel::host
