#include "host/robot/module.h"

#include <dlfcn.h>
#include <fmt/format.h>

#include <string>
#include <string_view>

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

std::shared_ptr<void> open_library(const std::filesystem::path& path) {
  // A path without a slash would be looked up in the library search path.
  if (path.empty()) throw Error("expected the path of a module, found ''");
  void* library = dlopen(std::filesystem::absolute(path).c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) fail(path);
  return {library, [](void* opened) { dlclose(opened); }};
}

template <typename Function>
Function entry_point(const std::filesystem::path& path, void* library, const char* name) {
  void* symbol = dlsym(library, name);
  if (symbol == nullptr) fail(path);
  return reinterpret_cast<Function>(symbol);
}

}  // namespace

Error module_error(const std::filesystem::path& path, std::string_view what) {
  return Error(fmt::format("cannot load module '{}': {}", path.string(), what));
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

}  // namespace korvel::host
