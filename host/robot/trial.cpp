#include "host/robot/trial.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <system_error>
#include <thread>

#include "host/io/error.h"
#include "host/io/program_file.h"
#include "host/robot/child_process.h"
#include "host/robot/robot.h"

namespace korvel::host {

namespace {

using Clock = std::chrono::steady_clock;
constexpr std::chrono::seconds limit{5};

std::string system_words(int code) { return std::generic_category().message(code); }

/// What the function returns. Whatever it throws becomes an Error of the module, by the name of who threw.
template <typename Function>
auto guarded(const std::filesystem::path& path, const char* who, const Function& function) {
  try {
    return function();
  } catch (const Error&) {
    throw;
  } catch (const std::exception& error) {
    throw module_error(path, fmt::format("{} threw: {}", who, error.what()));
  } catch (...) {
    throw module_error(path, fmt::format("{} threw something that is no std::exception", who));
  }
}

/// The words for what is wrong, nothing if all is well.
std::string try_here(const std::filesystem::path& path) try {
  guarded(path, "it", [&] { return read_robot(*robot_of(Module(path))); });
  return {};
} catch (const Error& error) {
  return error.what();
}

[[noreturn]] void try_in_child(const std::filesystem::path& path, int channel, pid_t parent, const std::string& token) {
  begin_child(parent);
  // Words of the module itself, of a failed assertion perhaps.
  const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
  if (nowhere >= 0) {
    dup2(nowhere, STDOUT_FILENO);
    dup2(nowhere, STDERR_FILENO);
  }
  send(channel, token + try_here(path));
  _exit(0);
}

/// All that comes out of the channel until it is closed or the time is over.
std::string received(int channel, Clock::time_point end) {
  std::string message;
  std::array<char, 4096> part{};
  for (;;) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
    pollfd waiting{channel, POLLIN, 0};
    const int ready = left > 0 ? poll(&waiting, 1, static_cast<int>(left)) : 0;
    if (ready < 0 && errno == EINTR) continue;
    if (ready <= 0) return message;
    const ssize_t count = read(channel, part.data(), part.size());
    if (count <= 0) return message;
    message.append(part.data(), static_cast<std::size_t>(count));
  }
}

std::string random_token() {
  std::random_device random;
  return fmt::format("{:08x}{:08x}", random(), random());
}

}  // namespace

void require_module_file(const std::filesystem::path& path) {
  if (path.empty()) throw Error("expected the path of a module, found ''");
  std::error_code failure;
  const std::filesystem::file_status status = std::filesystem::status(path, failure);
  if (!std::filesystem::exists(status)) throw module_error(path, system_words(failure ? failure.value() : ENOENT));
  if (std::filesystem::is_directory(status)) throw module_error(path, "expected a file, found a directory");
  if (!std::filesystem::is_regular_file(status)) throw module_error(path, "expected a file, found a device or pipe");
  if (access(path.c_str(), R_OK) != 0) throw module_error(path, system_words(errno));
  if (!is_shared_library(path)) throw module_error(path, "expected a shared library, found none");
}

Module tried_module(const std::filesystem::path& path) {
  require_module_file(path);
  // Only who has come through the trial knows it: the module may end the process, or write to all it finds open.
  const std::string token = random_token();
  std::array<int, 2> channel{};
  if (pipe2(channel.data(), O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
  std::fflush(nullptr);
  const pid_t parent = getpid();
  const pid_t child = fork();
  if (child < 0) throw std::system_error(errno, std::generic_category(), "fork");
  if (child == 0) {
    close(channel[0]);
    try_in_child(path, channel[1], parent, token);
  }
  close(channel[1]);
  const Clock::time_point end = Clock::now() + limit;
  const std::string message = received(channel[0], end);
  close(channel[0]);
  // A process that has sent all it knows ends; one that has not is ended.
  const bool complete = message.compare(0, token.size(), token) == 0;
  int status = 0;
  bool ended = false;
  while (!ended && !complete && Clock::now() < end) {
    ended = waitpid(child, &status, WNOHANG) == child;
    if (!ended) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  const bool late = !ended && !complete;
  if (!ended) {
    kill(child, SIGKILL);
    status = status_at_end(child);
  }
  if (complete && message.size() == token.size()) return Module(path);
  if (complete) throw Error(message.substr(token.size()));
  if (late) throw module_error(path, fmt::format("it does not end within {} s", limit.count()));
  if (WIFSIGNALED(status)) throw module_error(path, fmt::format("it crashed: {}", strsignal(WTERMSIG(status))));
  throw module_error(path, fmt::format("it ended the process with exit status {}", WEXITSTATUS(status)));
}

System robot_of(const Module& module) {
  return guarded(module.path(), "create", [&] {
    System robot = module.create();
    if (robot == nullptr) throw module_error(module.path(), "create returned a null pointer");
    return robot;
  });
}

}  // namespace korvel::host
