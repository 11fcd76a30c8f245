#include "host/cli/console.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <re2/re2.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <system_error>

#include "motion/csv/printable.h"

namespace korvel::host {

namespace {

void write_to(std::FILE* stream, std::string_view text, const char* name) {
  if (std::fwrite(text.data(), 1, text.size(), stream) == text.size() && std::fflush(stream) == 0) return;
  throw StreamError(fmt::format("cannot write to the standard {}: {}", name, std::generic_category().message(errno)));
}

/// Patterns of a line's beginning or end, and their colours.
constexpr std::pair<const char*, const char*> highlights[] = {
    {"(?m)(stays on its feet throughout|no difference)$", "32"},
    {"(?m)^(stays within all)", "32"},
    {"(?m)^(the robot cannot stay on its feet|exceeds limits|First difference|FAIL)", "1;31"},
};

std::string coloured(std::string text) {
  for (const auto& [words, colour] : highlights) {
    RE2::GlobalReplace(&text, words, fmt::format("\x1b[{}m\\1\x1b[0m", colour));
  }
  return text;
}

bool shows_colours() {
  const char* no_color = std::getenv("NO_COLOR");
  const char* terminal = std::getenv("TERM");
  return (no_color == nullptr || *no_color == '\0') && isatty(STDOUT_FILENO) == 1 &&
         (terminal == nullptr || std::strcmp(terminal, "dumb") != 0);
}

}  // namespace

void reserve_standard_streams() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(stream, F_GETFD) >= 0 || errno != EBADF) continue;
    // Takes the lowest number that is free. The wrong way round: reading or writing fails as if it were closed.
    const int descriptor = open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    if (descriptor >= 0 && descriptor != stream) close(descriptor);
  }
}

void tell(const char* kind, std::string_view line) {
  constexpr std::size_t longest = 299;
  write_to(stderr, shortened(fmt::format("korvel-host: {}: {}", kind, printable(line)), longest) + '\n', "error");
}

void show(std::string_view text) {
  const std::string lines = printable_lines(text);
  write_to(stdout, shows_colours() ? coloured(lines) : lines, "output");
}

void ProgressLine::show(double share) {
  const int percent = static_cast<int>(100 * share);
  if (percent == percent_ || isatty(STDERR_FILENO) != 1) return;
  percent_ = percent;
  constexpr std::size_t longest = 60;
  std::fprintf(stderr, "\r%s: %d %%", shortened(printable(what_), longest).c_str(), percent);
}

void ProgressLine::clear() {
  percent_ = -1;
  if (isatty(STDERR_FILENO) == 1) std::fputs("\r\x1b[K", stderr);
}

std::string wrote(const std::filesystem::path& file) {
  const auto bytes = static_cast<double>(std::filesystem::file_size(file));
  const std::string size = bytes < 1e3   ? fmt::format("{} bytes", bytes)
                           : bytes < 1e6 ? fmt::format("{:.1f} kB", bytes / 1e3)
                                         : fmt::format("{:.1f} MB", bytes / 1e6);
  return fmt::format("wrote {}, {}\n", printable(file.string()), size);
}

Destination::Destination(const std::optional<std::filesystem::path>& file, Outputs& outputs) {
  if (file) file_.emplace(outputs.claim(*file));
}

void Destination::write_text(std::string_view text) { file_ ? file_->write(printable_lines(text)) : show(text); }

void Destination::write(std::string_view text) { file_ ? file_->write(text) : write_to(stdout, text, "output"); }

void Destination::commit() {
  if (file_) file_->commit();
}

}  // namespace korvel::host
