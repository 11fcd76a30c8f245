#pragma once

#include <CLI/CLI.hpp>
#include <exception>
#include <filesystem>

namespace korvel::host {

/// Adds the subcommand of that name. It runs while the command line is parsed and throws Error or Findings.
void addInfo(CLI::App& app);
void addExport(CLI::App& app);
void addReport(CLI::App& app);
void addRun(CLI::App& app);
void addValidate(CLI::App& app);

/// The command did its work and has already told of what it found wrong.
class Findings : public std::exception {};

/// A file that belongs to the executable: beside it as built, in the folder `installed` of the prefix as installed.
std::filesystem::path ownFile(const char* name, const char* installed);

/// The module that is loaded unless another one is named: beside the executable as built, or as installed.
std::filesystem::path defaultModule();

/// Adds the option that names the module; `module` has the default and outlives the parsing.
void addModuleOption(CLI::App& command, std::filesystem::path& module);

}  // namespace korvel::host
