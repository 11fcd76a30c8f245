#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "motion/csv/error.h"
#include "plugin/rigid_body_system.h"

namespace korvel::host {

/// Ends an object through the module that made it and keeps that module loaded until then.
class SystemDeleter {
 public:
  void operator()(tesk::RigidBodySystem* system) const noexcept { destroy_(system); }

 private:
  friend class Module;
  using Destroy = void (*)(tesk::RigidBodySystem*) noexcept;
  SystemDeleter(std::shared_ptr<void> library, Destroy destroy) : library_(std::move(library)), destroy_(destroy) {}

  std::shared_ptr<void> library_;
  Destroy destroy_;
};

/// A robot made by a module. The handle keeps the module loaded, also when it is empty. What `clone` returns is a plain
/// pointer and does not keep the module loaded.
using System = std::unique_ptr<tesk::RigidBodySystem, SystemDeleter>;

/// The error of a module that is of no use: "cannot load module 'path': what".
Error module_error(const std::filesystem::path& path, std::string_view what);

/// A loaded module. It is unloaded when the Module, its copies and every System made by it are gone.
class Module {
 public:
  /// Loads the shared library at `path`, relative to the working directory; library search paths are not used.
  /// Throws Error with the path and the reason if the file is no such library or is cut short, if loading fails or if
  /// an entry point is missing.
  explicit Module(const std::filesystem::path& path);

  /// Returns the path as it was given.
  const std::filesystem::path& path() const { return path_; }

  /// A robot with its initial values. Throws what the module's `create` throws: std::bad_alloc.
  System create() const;

 private:
  using Create = tesk::RigidBodySystem* (*)();

  std::filesystem::path path_;
  std::shared_ptr<void> library_;
  Create create_;
  SystemDeleter::Destroy destroy_;
};

/// Throws Error unless `path` is a shared library that can be read. Nothing of it is loaded.
void require_module_file(const std::filesystem::path& path);

/// A robot of the module with its initial values. Throws Error if the module makes none.
System make_system(const Module& module);

/// Throws the Error that names the module of an object, the operation, and what the operation has just thrown.
[[noreturn]] void throw_operation_error(const tesk::RigidBodySystem& system, const char* operation);

/// Returns what `call` returns, which calls an operation that may throw. What the operation throws becomes an Error.
template <typename Call>
auto guarded(const tesk::RigidBodySystem& system, const char* operation, const Call& call) {
  try {
    return call();
  } catch (...) {
    throw_operation_error(system, operation);
  }
}

/// Version and build that the file of a module names. Nothing is loaded.
struct Identity {
  std::filesystem::path path;
  std::string version = "unknown";
  std::string build_id = "unknown";  ///< of the linker, in hexadecimal
};

/// Reads them from the file. Both are "unknown" if the file does not name them or is not a library.
Identity identity(const std::filesystem::path& module);

/// Path and version, then the build, in a line each.
std::string lines_of(const Identity& identity);

}  // namespace korvel::host
