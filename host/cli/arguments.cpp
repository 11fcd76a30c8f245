#include "host/cli/arguments.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iterator>
#include <limits>
#include <string>
#include <string_view>

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

struct Unit {
  std::string_view name;
  double ns;
};
constexpr Unit units[] = {{"s", 1e9}, {"ms", 1e6}, {"us", 1e3}};

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

std::string time_in_words(std::chrono::nanoseconds time) {
  const auto ns = static_cast<double>(time.count());
  const auto* unit = std::find_if(std::begin(units), std::end(units), [ns](const Unit& u) { return ns >= u.ns; });
  if (unit == std::end(units)) --unit;
  return fmt::format("{}{}", ns / unit->ns, unit->name);
}

CLI::Validator time_between(std::chrono::nanoseconds least, std::chrono::nanoseconds most) {
  const auto convert = [least, most](std::string& text) -> std::string {
    const std::size_t number = std::min(text.find_first_not_of("0123456789."), text.size());
    const std::string name = text.substr(number);
    double value{};
    for (const Unit& unit : units) {
      if (unit.name != name || !is_number(text.substr(0, number), value)) continue;
      const double ns = std::round(value * unit.ns);
      if (ns < static_cast<double>(least.count()) || ns > static_cast<double>(most.count())) continue;
      text = std::to_string(static_cast<std::int64_t>(ns));
      return {};
    }
    return fmt::format("expected a time from {} to {} with its unit, such as 2.5ms, found '{:.40}'",
                       time_in_words(least), time_in_words(most), text);
  };
  return {convert, "TIME"};
}

CLI::Validator any_number() { return number_from(-largest_number, "a number of single precision", "NUMBER"); }

void add_module_option(CLI::App& command, std::filesystem::path& module) {
  command.add_option("--module", module, "The module to load")->type_name("FILE")->capture_default_str();
}

void add_output_option(CLI::App& command, std::optional<std::filesystem::path>& output) {
  command.add_option("-o,--output", output, "Write to this file, not to the standard output")->type_name("FILE");
}

}  // namespace korvel::host
