#include "host/io/temporary_name.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "host/io/signals_wait.h"

namespace korvel::host {

namespace {

/// All such names of this process, for a signal handler to read: who changes them has the signals wait, so that no
/// handler waits for the thread that it interrupts.
struct Names {
  std::atomic_flag locked = ATOMIC_FLAG_INIT;
  pid_t process = 0;
  std::vector<std::string> all;

  void lock() {
    while (locked.test_and_set(std::memory_order_acquire)) {
    }
  }
  void unlock() { locked.clear(std::memory_order_release); }
};

Names& names() {
  static Names& names = *new Names;  // a signal may come when all else has ended
  return names;
}

void remove_all_and_end(int signal) {
  // Not in a child: the names are its parent's.
  if (getpid() == names().process) {
    names().lock();
    for (const std::string& name : names().all) unlink(name.c_str());
  }
  // The default action is back already.
  raise(signal);
}

/// Signals that are ignored, or that somebody else handles, are left alone.
void handle_signals() {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE}) {
    struct sigaction now {};
    sigaction(signal, nullptr, &now);
    if (now.sa_handler != SIG_DFL) continue;
    now.sa_handler = remove_all_and_end;
    now.sa_flags = static_cast<int>(SA_RESETHAND | SA_NODEFER);
    sigaction(signal, &now, nullptr);
  }
}

}  // namespace

TemporaryName::TemporaryName(std::filesystem::path path) : path_(std::move(path)) {
  const SignalsWait wait;
  const std::lock_guard hold(names());
  if (names().process != getpid()) names().all.clear();
  names().process = getpid();
  names().all.push_back(path_.string());
  handle_signals();
}

TemporaryName::~TemporaryName() {
  if (path_.empty()) return;
  unlink(path_.c_str());
  release();
}

void TemporaryName::release() {
  const SignalsWait wait;
  const std::lock_guard hold(names());
  auto& all = names().all;
  all.erase(std::remove(all.begin(), all.end(), path_.native()), all.end());
  path_.clear();
}

}  // namespace korvel::host
