#include "host/process/child_process.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <random>
#include <string_view>
#include <system_error>

namespace korvel::host {

namespace {

/// More than any answer has.
constexpr std::size_t most_received = 16 << 20;

[[noreturn]] void fail(int code, const char* what) { throw std::system_error(code, std::generic_category(), what); }

std::string random_token() {
  std::random_device random;
  return fmt::format("{:08x}{:08x}{:08x}{:08x}", random(), random(), random(), random());
}

/// All of it, or as much as the other side takes.
void send(int channel, std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = write(channel, text.data(), text.size());
    if (count <= 0) return;
    text.remove_prefix(static_cast<std::size_t>(count));
  }
}

void end_with(pid_t parent, int signal) {
  prctl(PR_SET_PDEATHSIG, signal);
  if (getppid() != parent) _exit(1);
}

/// Leaves a module nothing to write to but the standard error and the channel, which gets another number.
int only_open(int channel) {
  const int nowhere = open("/dev/null", O_RDWR);
  dup2(nowhere, STDIN_FILENO);
  dup2(nowhere, STDOUT_FILENO);
  constexpr int kept = STDERR_FILENO + 1;
  if (channel != kept) dup2(channel, kept);
  close_range(kept + 1, ~0U, 0);
  return kept;
}

[[noreturn]] void work(const std::function<std::string()>& task, int channel, const std::string& token) noexcept {
  const pid_t self = getpid();
  const int kept = only_open(channel);
  const std::string answer = token + task() + token;
  // A module may have forked, and this be its child.
  if (getpid() == self) send(kept, answer);
  // _exit runs no destructors and no handlers of the module or of this program.
  _exit(0);
}

/// Ends the children of this process, and theirs, which become its own when they lose their parents.
void end_children() {
  for (bool any = true; any;) {
    any = false;
    std::ifstream children(fmt::format("/proc/self/task/{}/children", getpid()));
    for (pid_t child = 0; children >> child; any = true) {
      kill(child, SIGKILL);
      waitpid(child, nullptr, 0);
    }
  }
}

/// Ends as another process did.
[[noreturn]] void end_like(int status) {
  if (!WIFSIGNALED(status)) _exit(WEXITSTATUS(status));
  std::signal(WTERMSIG(status), SIG_DFL);
  sigset_t all;
  sigfillset(&all);
  sigprocmask(SIG_UNBLOCK, &all, nullptr);
  kill(getpid(), WTERMSIG(status));
  _exit(1);
}

/// The process between: it never runs a module, so that somebody is there to end what a module leaves. SIGTERM ends it
/// with all the rest.
[[noreturn]] void keep(const std::function<std::string()>& task, int channel, const std::string& token, pid_t parent) {
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  sigprocmask(SIG_SETMASK, &all, &before);
  std::signal(SIGCHLD, SIG_DFL);
  end_with(parent, SIGTERM);
  prctl(PR_SET_CHILD_SUBREAPER, 1);
  const rlimit no_core{0, 0};
  setrlimit(RLIMIT_CORE, &no_core);

  const pid_t self = getpid();
  const pid_t worker = fork();
  if (worker < 0) _exit(1);
  if (worker == 0) {
    end_with(self, SIGKILL);
    sigprocmask(SIG_SETMASK, &before, nullptr);
    work(task, channel, token);
  }
  close(channel);
  int status = 0;
  sigset_t awaited;
  sigemptyset(&awaited);
  sigaddset(&awaited, SIGCHLD);
  sigaddset(&awaited, SIGTERM);
  for (int number = SIGCHLD; number == SIGCHLD && waitpid(worker, &status, WNOHANG) != worker;) {
    sigwait(&awaited, &number);
  }
  end_children();
  end_like(status);
}

}  // namespace

ChildProcess::ChildProcess(const std::function<std::string()>& task, std::chrono::seconds limit)
    : token_(random_token()), limit_(limit), start_(Clock::now()) {
  std::array<int, 2> channel{};
  if (pipe2(channel.data(), O_CLOEXEC) != 0) fail(errno, "pipe");
  std::fflush(nullptr);
  const pid_t parent = getpid();
  keeper_ = fork();
  if (keeper_ == 0) keep(task, channel[1], token_, parent);
  const int code = errno;
  close(channel[1]);
  channel_ = channel[0];
  if (keeper_ > 0) return;
  close(channel_);
  fail(code, "fork");
}

ChildProcess::~ChildProcess() { stop(); }

/// Ends the process, which may have been stopped, unless it has ended.
void ChildProcess::stop() {
  if (keeper_ > 0) {
    kill(keeper_, SIGTERM);
    kill(keeper_, SIGCONT);
    while (waitpid(keeper_, nullptr, 0) < 0 && errno == EINTR) {
    }
    keeper_ = -1;
  }
  if (channel_ >= 0) close(channel_);
  channel_ = -1;
}

std::chrono::milliseconds ChildProcess::pause() const {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(start_ + limit_ - Clock::now());
  // A process that has closed its channel and goes on must be polled.
  return std::clamp(left, std::chrono::milliseconds(0), std::chrono::milliseconds(channel_ < 0 ? 1 : 60'000));
}

void ChildProcess::receive() {
  std::array<char, 4096> part{};
  const ssize_t count = read(channel_, part.data(), part.size());
  if (count > 0) {
    if (received_.size() < most_received) received_.append(part.data(), static_cast<std::size_t>(count));
  } else {
    close(channel_);
    channel_ = -1;
  }
}

std::optional<std::string> ChildProcess::answer() const {
  const std::size_t size = token_.size();
  const bool heard = received_.size() >= 2 * size && received_.compare(0, size, token_) == 0 &&
                     received_.compare(received_.size() - size, size, token_) == 0;
  return heard ? std::optional(received_.substr(size, received_.size() - 2 * size)) : std::nullopt;
}

std::optional<ChildProcess::End> ChildProcess::end() {
  int status = 0;
  const bool ended = channel_ < 0 && waitpid(keeper_, &status, WNOHANG) != 0;
  if (!ended && Clock::now() < start_ + limit_) return std::nullopt;
  if (!ended) {
    stop();
    return End{false, fmt::format("it does not end within {} s", limit_.count()), 0};
  }
  keeper_ = -1;
  if (const auto text = answer()) return End{true, *text, 0};
  if (WIFSIGNALED(status)) {
    return End{false, fmt::format("it crashed: {}", strsignal(WTERMSIG(status))), WTERMSIG(status)};
  }
  return End{false, fmt::format("it ended the process with exit status {}", WEXITSTATUS(status)), 0};
}

ChildProcess::End ChildProcess::wait() {
  for (;;) {
    pollfd input{channel_, POLLIN, 0};
    poll(&input, 1, static_cast<int>(pause().count()));
    if (input.revents != 0) receive();
    if (auto ended = end()) return *ended;
  }
}

}  // namespace korvel::host
