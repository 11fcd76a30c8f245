#include "host/robot/module.h"

#include <dlfcn.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <system_error>

#include "host/robot/elf_file.h"
#include "motion/csv/printable.h"

namespace korvel::host {

namespace {

[[noreturn]] void fail(const std::filesystem::path& path) {
  const char* words = dlerror();
  std::string_view reason = words != nullptr ? words : "unknown reason";
  // The loader begins with the path, too.
  const std::string said = std::filesystem::absolute(path).string() + ": ";
  if (reason.substr(0, said.size()) == said) reason.remove_prefix(said.size());
  throw module_error(path, reason);
}

/// Throws Error unless the file is a shared library.
ElfFile checked(const std::filesystem::path& path) {
  if (path.empty()) throw Error("expected the path of a module, found ''");
  std::error_code failure;
  const std::filesystem::file_status status = std::filesystem::status(path, failure);
  const auto system_error = [&](int code) { return module_error(path, std::generic_category().message(code)); };
  if (!std::filesystem::exists(status)) throw system_error(failure ? failure.value() : ENOENT);
  if (std::filesystem::is_directory(status)) throw module_error(path, "expected a file, found a directory");
  if (!std::filesystem::is_regular_file(status)) throw module_error(path, "expected a file, found a device or pipe");
  if (access(path.c_str(), R_OK) != 0) throw system_error(errno);
  try {
    ElfFile file(path);
    if (file.is_shared) return file;
  } catch (const Error&) {
    // The file has another format, or none.
  }
  throw module_error(path, "expected a shared library, found none");
}

std::shared_ptr<void> open_library(const std::filesystem::path& path) {
  // The loader maps the whole file and would crash on pages that do not exist.
  if (!checked(path).is_whole) throw module_error(path, "the file is cut short");
  // A path without a slash would be looked up in the library search path.
  void* library = dlopen(std::filesystem::absolute(path).c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) fail(path);
  return {library, [](void* opened) { dlclose(opened); }};
}

/// Describes the exception that is being handled.
std::string thrown() {
  try {
    throw;
  } catch (const std::exception& error) {
    return fmt::format("threw: {}", error.what());
  } catch (...) {
    return "threw something that is not a std::exception";
  }
}

template <typename Function>
Function entry_point(const std::filesystem::path& path, void* library, const char* name) {
  void* symbol = dlsym(library, name);
  if (symbol == nullptr) fail(path);
  return reinterpret_cast<Function>(symbol);
}

}  // namespace

Error module_error(const std::filesystem::path& path, std::string_view what) {
  return Error("cannot load module '{}': {}", path.string(), what);
}

Module::Module(const std::filesystem::path& path)
    : path_(path),
      library_(open_library(path)),
      create_(entry_point<Create>(path, library_.get(), "create")),
      destroy_(entry_point<SystemDeleter::Destroy>(path, library_.get(), "destroy")) {}

System Module::create() const {
  // The deleter first: nothing may throw between making the object and owning it.
  SystemDeleter deleter(library_, destroy_);
  return {create_(), std::move(deleter)};
}

void require_module_file(const std::filesystem::path& path) { checked(path); }

System make_system(const Module& module) {
  try {
    System robot = module.create();
    if (robot != nullptr) return robot;
  } catch (...) {
    throw module_error(module.path(), "create " + thrown());
  }
  throw module_error(module.path(), "create returned a null pointer");
}

void throw_operation_error(const tesk::RigidBodySystem& system, const char* operation) {
  Dl_info file{};
  // The object begins with the address of its table of functions, which is in the module.
  const void* table = *reinterpret_cast<const void* const*>(&system);
  const bool is_known = dladdr(table, &file) != 0;
  throw Error("module '{}': {} {}", is_known ? file.dli_fname : "unknown", operation, thrown());
}

Identity identity(const std::filesystem::path& module) try {
  const ElfFile file(module);
  Identity result{module};
  for (const ElfFile::Note& note : file.notes) {
    // plugin/identity.cpp writes it.
    if (note.owner == "korvel" && note.type == 1) result.version = note.bytes.substr(0, note.bytes.find('\0'));
    if (note.owner == ELF_NOTE_GNU && note.type == NT_GNU_BUILD_ID) {
      result.build_id.clear();
      for (const char byte : note.bytes) result.build_id += fmt::format("{:02x}", static_cast<unsigned char>(byte));
    }
  }
  return result;
} catch (const Error&) {
  return {module};
}

std::string lines_of(const Identity& identity) {
  return fmt::format("{}: version {}\nbuild {}\n", printable(identity.path.string()), printable(identity.version),
                     printable(identity.build_id));
}

}  // namespace korvel::host
