#include "host/replay/crash_witness.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>

#include "host/io/printable.h"

namespace korvel::host {

namespace {

constexpr std::array signals{SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT};

/// What the handler reads.
struct Seen {
  std::array<char, 256> recording;
  const char* operation;
  Place place;
  std::array<struct sigaction, signals.size()> before;
  std::array<char, 1 << 16> stack;  ///< for a module that has used up its own
};
Seen seen{};

void tell_and_end(int signal) {
  std::array<char, 600> line;
  const auto end =
      fmt::format_to_n(line.data(), line.size(),
                       "korvel-host: {}: the module crashed, signal {}, in call {} of object {}, {:.6f} s, "
                       "byte {}: {}\n",
                       seen.recording.data(), signal, seen.place.call, seen.place.object, seen.place.time,
                       seen.place.offset, seen.operation);
  [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, line.data(), std::min(end.size, line.size()));
  _exit(1);
}

}  // namespace

CrashWitness::CrashWitness(const RecordingFile& recording) {
  printable(recording.path().string()).copy(seen.recording.data(), seen.recording.size() - 1);
  seen.operation = "before the first one";
  stack_t stack{};
  stack.ss_sp = seen.stack.data();
  stack.ss_size = seen.stack.size();
  sigaltstack(&stack, nullptr);
  struct sigaction action {};
  action.sa_handler = tell_and_end;
  action.sa_flags = SA_ONSTACK;
  for (std::size_t i = 0; i < signals.size(); ++i) sigaction(signals[i], &action, &seen.before[i]);
}

CrashWitness::~CrashWitness() {
  for (std::size_t i = 0; i < signals.size(); ++i) sigaction(signals[i], &seen.before[i], nullptr);
  stack_t none{};
  none.ss_flags = SS_DISABLE;
  sigaltstack(&none, nullptr);
  seen.recording = {};
}

void CrashWitness::about_to(const RecordedCall& call) noexcept {
  seen.place = call.place();
  seen.operation = call.operation.name;
}

}  // namespace korvel::host
