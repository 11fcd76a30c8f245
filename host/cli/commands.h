#pragma once

#include <CLI/CLI.hpp>
#include <exception>
#include <filesystem>

namespace korvel::host {

/// Adds the subcommand of that name. It runs while the command line is parsed and throws Error or Findings.
void add_info(CLI::App& app);
void add_export(CLI::App& app);
void add_report(CLI::App& app);
void add_run(CLI::App& app);
void add_validate(CLI::App& app);

/// The command did its work and has already told of what it found wrong.
class Findings : public std::exception {};

/// A file that belongs to the executable: beside it as built, in the folder `installed` of the prefix as installed.
std::filesystem::path own_file(const char* name, const char* installed);

/// The module that is loaded unless another one is named: beside the executable as built, or as installed.
std::filesystem::path default_module();

/// Adds the option that names the module; `module` has the default and outlives the parsing.
void add_module_option(CLI::App& command, std::filesystem::path& module);

}  // namespace korvel::host
