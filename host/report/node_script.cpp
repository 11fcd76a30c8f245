#include "host/report/node_script.h"

#include <fmt/format.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>

namespace korvel::host {

NodeScript::NodeScript(const std::filesystem::path& script, const OutputFile& file)
    : file_(file.path().named()), words_(memfd_create("words", MFD_CLOEXEC)) {
  // A socket: writing to one whose reader is gone can be told from a signal.
  std::array<int, 2> ends{-1, -1};
  const bool connected = words_ >= 0 && socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) == 0;
  int failure = connected ? 0 : errno;
  if (connected) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, file.descriptor(), STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, words_, STDERR_FILENO);
    std::string name = "node";
    std::string path = script.string();
    const std::array<char*, 3> arguments{name.data(), path.data(), nullptr};
    failure = posix_spawnp(&process_, "node", &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
  }
  channel_ = ends[0];
  if (failure == 0) return;
  process_ = -1;
  wait();
  close(words_);
  if (failure == ENOENT) throw Error(file_.string() + ": node was not found, which writes MCAP: install nodejs");
  throw Error(fmt::format("{}: node cannot be run: {}", file_.string(), std::generic_category().message(failure)));
}

NodeScript::~NodeScript() {
  wait();
  close(words_);
}

int NodeScript::wait() {
  if (channel_ >= 0) close(channel_);
  channel_ = -1;
  int status = 0;
  while (process_ >= 0 && waitpid(process_, &status, 0) < 0 && errno == EINTR) {
  }
  process_ = -1;
  return status;
}

void NodeScript::write(std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = send(channel_, text.data(), text.size(), MSG_NOSIGNAL);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return finish();
    text.remove_prefix(static_cast<std::size_t>(count));
  }
}

void NodeScript::finish() {
  const int status = wait();
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return;
  std::array<char, 300> words{};
  const ssize_t count = pread(words_, words.data(), words.size(), 0);
  const std::string_view all(words.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
  const std::string_view first = all.substr(0, all.find('\n'));
  throw Error(fmt::format("{}: cannot write: node: {}", file_.string(), first.empty() ? "ended early" : first));
}

}  // namespace korvel::host
