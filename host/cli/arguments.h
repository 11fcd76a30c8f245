#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <filesystem>
#include <optional>

namespace korvel::host {

// Validators for decimal numbers. Those of CLI11 also take octal and hexadecimal numbers and NaN.

/// Decimal digits and nothing else, without a leading zero, between both bounds.
CLI::Validator whole_number(std::uint64_t least, std::uint64_t most);

/// A positive number within single precision.
CLI::Validator positive_number();

/// A number within single precision.
CLI::Validator any_number();

/// Adds an option that names a file, which help calls by its type.
template <typename Path>
CLI::Option* add_file_option(CLI::App& command, const char* name, Path& file, const char* help,
                             const char* type = "FILE") {
  return command.add_option(name, file, help)->type_name(type);
}

/// Adds an option for a number that `check` accepts; help shows its default.
template <typename Number>
CLI::Option* add_number_option(CLI::App& command, const char* name, Number& number, const char* help,
                               const CLI::Validator& check, const char* type = "N") {
  return command.add_option(name, number, help)->check(check)->type_name(type)->capture_default_str();
}

/// Adds the option that names the module; `module` has the default and outlives the parsing.
void add_module_option(CLI::App& command, std::filesystem::path& module);

/// Adds the option for how many things are done at a time.
void add_jobs_option(CLI::App& command, unsigned& jobs, const char* help);

/// Adds the option that names a file to write to in place of the standard output.
void add_output_option(CLI::App& command, std::optional<std::filesystem::path>& output);

}  // namespace korvel::host
