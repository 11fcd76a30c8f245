#pragma once

#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace korvel::host {

/// Decimal digits and nothing else, without a leading zero, between both bounds.
CLI::Validator whole_number(std::uint64_t least, std::uint64_t most);

/// A positive number as decimal, within single precision.
CLI::Validator positive_number();

/// A time with its unit, us, ms or s: "250us", "2.5ms". It is handed on as a whole number of nanoseconds.
CLI::Validator time_between(std::chrono::nanoseconds least, std::chrono::nanoseconds most);

/// The same way round: "2.5ms".
std::string time_in_words(std::chrono::nanoseconds time);

/// A number as decimal, within single precision.
CLI::Validator any_number();

/// Adds the option that names the module; `module` has the default and outlives the parsing.
void add_module_option(CLI::App& command, std::filesystem::path& module);

/// Adds the option that names a file to write to in place of the standard output.
void add_output_option(CLI::App& command, std::optional<std::filesystem::path>& output);

}  // namespace korvel::host
