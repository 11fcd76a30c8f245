#include "host/cli/arguments.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <limits>
#include <string>
#include <thread>
#include <type_traits>

namespace korvel::host {

namespace {

template <typename Number>
CLI::Validator number_between(Number least, Number most, const std::string& expected, const std::string& type) {
  const auto check = [=](const std::string& text) -> std::string {
    Number value{};
    const char* end = text.data() + text.size();
    const auto [stop, status] = std::from_chars(text.data(), end, value);
    const bool is_octal = std::is_integral_v<Number> && text.size() > 1 && text[0] == '0';
    if (status == std::errc{} && stop == end && !is_octal && value >= least && value <= most) return {};
    return fmt::format("expected {}, found '{:.40}'", expected, text);
  };
  return {check, type};
}

constexpr auto smallest_number = static_cast<double>(std::numeric_limits<float>::min());
constexpr auto largest_number = static_cast<double>(std::numeric_limits<float>::max());

}  // namespace

CLI::Validator whole_number(std::uint64_t least, std::uint64_t most) {
  return number_between(least, most, fmt::format("a whole number from {} to {}", least, most),
                        fmt::format("{} to {}", least, most));
}

CLI::Validator positive_number() {
  return number_between(smallest_number, largest_number, "a number above 0", "POSITIVE");
}

CLI::Validator any_number() { return number_between(-largest_number, largest_number, "a number", "NUMBER"); }

void add_module_option(CLI::App& command, std::filesystem::path& module) {
  add_file_option(command, "--module", module,
                  "Load this module (default: the libkorvel.so beside the tool, or else the installed one)");
}

void add_jobs_option(CLI::App& command, unsigned& jobs, const char* help) {
  jobs = std::max(1U, std::thread::hardware_concurrency());
  add_number_option(command, "-j,--jobs", jobs, help, whole_number(1, 64));
}

void add_output_option(CLI::App& command, std::optional<std::filesystem::path>& output) {
  add_file_option(command, "-o,--output", output, "Write to this file instead of standard output");
}

}  // namespace korvel::host
