#include "host/cli/arguments.h"

#include <fmt/format.h>

#include <charconv>
#include <limits>
#include <string>

namespace korvel::host {

namespace {

/// The whole text as a number, if it is one.
template <typename Number>
bool is_number(const std::string& text, Number& value) {
  const char* end = text.data() + text.size();
  const auto [stop, status] = std::from_chars(text.data(), end, value);
  return status == std::errc{} && stop == end;
}

constexpr auto largest_number = static_cast<double>(std::numeric_limits<float>::max());

CLI::Validator number_from(double least, const char* expected, const char* type) {
  const auto check = [least, expected](const std::string& text) -> std::string {
    double value{};
    if (is_number(text, value) && value >= least && value <= largest_number) return {};
    return fmt::format("expected {}, found '{:.40}'", expected, text);
  };
  return {check, type};
}

}  // namespace

CLI::Validator whole_number(std::uint64_t least, std::uint64_t most) {
  const auto check = [least, most](const std::string& text) -> std::string {
    std::uint64_t value{};
    const bool leading_zero = text.size() > 1 && text[0] == '0';
    if (is_number(text, value) && !leading_zero && value >= least && value <= most) return {};
    return fmt::format("expected a whole number from {} to {}, found '{:.40}'", least, most, text);
  };
  return {check, fmt::format("{} to {}", least, most)};
}

CLI::Validator positive_number() {
  return number_from(static_cast<double>(std::numeric_limits<float>::min()), "a positive number of single precision",
                     "POSITIVE");
}

CLI::Validator any_number() { return number_from(-largest_number, "a number of single precision", "NUMBER"); }

void add_module_option(CLI::App& command, std::filesystem::path& module) {
  command.add_option("--module", module, "The module to load")->type_name("FILE")->capture_default_str();
}

void add_output_option(CLI::App& command, std::optional<std::filesystem::path>& output) {
  command.add_option("-o,--output", output, "Write to this file, not to the standard output")->type_name("FILE");
}

}  // namespace korvel::host
