#include "host/cli/console.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>
#include <system_error>

#include "host/io/printable.h"

namespace korvel::host {

namespace {

void write_to(std::FILE* stream, std::string_view text, const char* name) {
  if (std::fwrite(text.data(), 1, text.size(), stream) == text.size() && std::fflush(stream) == 0) return;
  throw StreamError(fmt::format("cannot write to the standard {}: {}", name, std::generic_category().message(errno)));
}

}  // namespace

std::string json_text(const nlohmann::json& all) {
  return all.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + '\n';
}

void reserve_standard_streams() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(stream, F_GETFD) >= 0 || errno != EBADF) continue;
    // Takes the lowest number that is free. The wrong way round: reading or writing fails as if it were closed.
    const int descriptor = open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    if (descriptor >= 0 && descriptor != stream) close(descriptor);
  }
}

void tell(std::string_view line) {
  constexpr std::size_t longest = 299;
  write_to(stderr, shortened(printable(line), longest) + '\n', "error");
}

void show(std::string_view text) { write_to(stdout, printable_lines(text), "output"); }

Destination::Destination(const std::optional<std::filesystem::path>& file, Outputs& outputs) {
  if (file) file_.emplace(outputs.claim(*file));
}

void Destination::write_text(std::string_view text) { write(printable_lines(text)); }

void Destination::write(std::string_view text) { file_ ? file_->write(text) : write_to(stdout, text, "output"); }

void Destination::commit() {
  if (file_) file_->commit();
}

}  // namespace korvel::host
