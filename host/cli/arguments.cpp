#include "host/cli/arguments.h"

#include <fmt/format.h>

#include <charconv>
#include <cmath>
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
  const auto check = [](const std::string& text) -> std::string {
    double value{};
    const auto largest = static_cast<double>(std::numeric_limits<float>::max());
    const auto smallest = static_cast<double>(std::numeric_limits<float>::min());
    if (is_number(text, value) && value >= smallest && value <= largest) return {};
    return fmt::format("expected a positive number, found '{:.40}'", text);
  };
  return {check, "POSITIVE"};
}

CLI::Validator any_number() {
  const auto check = [](const std::string& text) -> std::string {
    double value{};
    const auto largest = static_cast<double>(std::numeric_limits<float>::max());
    if (is_number(text, value) && std::abs(value) <= largest) return {};
    return fmt::format("expected a number, found '{:.40}'", text);
  };
  return {check, "NUMBER"};
}

void add_module_option(CLI::App& command, std::filesystem::path& module) {
  command.add_option("--module", module, "The module to load")->type_name("FILE")->capture_default_str();
}

void add_output_option(CLI::App& command, std::optional<std::filesystem::path>& output) {
  command.add_option("-o,--output", output, "Write to this file, not to the standard output")->type_name("FILE");
}

}  // namespace korvel::host
