#include "host/robot/trial.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <string>
#include <system_error>

#include "host/io/error.h"
#include "host/io/program_file.h"
#include "host/robot/child_process.h"
#include "host/robot/robot.h"

namespace korvel::host {

namespace {

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
  ChildProcess child(
      [&path] {
        // Words of the module itself, of a failed assertion perhaps.
        const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
        if (nowhere >= 0) dup2(nowhere, STDERR_FILENO);
        return try_here(path);
      },
      limit);
  const ChildProcess::End end = child.wait();
  if (!end.answered) throw module_error(path, end.text);
  if (!end.text.empty()) throw Error(end.text);
  return Module(path);
}

System robot_of(const Module& module) {
  return guarded(module.path(), "create", [&] {
    System robot = module.create();
    if (robot == nullptr) throw module_error(module.path(), "create returned a null pointer");
    return robot;
  });
}

}  // namespace korvel::host
