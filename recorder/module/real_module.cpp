#include "recorder/module/real_module.h"

#include <dlfcn.h>
#include <elf.h>
#include <fcntl.h>
#include <link.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace korvel::record {

namespace {

std::string path_of_module() {
  const char* named = secure_getenv("KORVEL_RECORD_MODULE");
  if (named != nullptr && *named != '\0') return named;
  Dl_info self{};
  dladdr(reinterpret_cast<void*>(&path_of_module), &self);
  const std::string recorder = self.dli_fname == nullptr ? "" : self.dli_fname;
  std::string path = recorder.substr(0, recorder.rfind('/') + 1) + "libkorvel.so";
  if (access(path.c_str(), F_OK) == 0) return path;
  // A copy of the recorder in memory has no folder. The recorder that it is a copy of has loaded the module.
  const auto visit = [](dl_phdr_info* library, std::size_t, void* found) {
    const std::string loaded = library->dlpi_name;
    if (loaded.substr(loaded.rfind('/') + 1) != "libkorvel.so") return 0;
    *static_cast<std::string*>(found) = loaded;
    return 1;
  };
  dl_iterate_phdr(visit, &path);
  return path;
}

/// The file that the loader will find; without a slash it would search its own paths.
std::string absolute(const std::string& path) {
  const std::unique_ptr<char, void (*)(void*)> real(realpath(path.c_str(), nullptr), std::free);
  return real ? real.get() : path.find('/') == std::string::npos ? "./" + path : path;
}

/// A library with the bytes of this one that is another one for the loader.
void* open_copy(const std::string& path) {
  const int from = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  const int copy = memfd_create("korvel", MFD_CLOEXEC);
  std::array<char, 1 << 16> bytes;
  ssize_t n = from < 0 || copy < 0 ? -1 : 0;
  while (n >= 0 && (n = read(from, bytes.data(), bytes.size())) > 0) {
    if (::write(copy, bytes.data(), static_cast<std::size_t>(n)) != n) n = -1;
  }
  void* library = nullptr;
  if (n == 0) library = dlopen(("/proc/self/fd/" + std::to_string(copy)).c_str(), RTLD_NOW | RTLD_LOCAL);
  if (from >= 0) close(from);
  if (copy >= 0) close(copy);
  return library;
}

void* open_library(const std::string& path) {
  if (void* loaded = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NOLOAD)) {
    dlclose(loaded);
    return open_copy(path);
  }
  return dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
}

}  // namespace

RealModule::RealModule() : path_(absolute(path_of_module())) {
  library_ = open_library(path_);
  if (library_ != nullptr) create_ = reinterpret_cast<decltype(create_)>(dlsym(library_, "create"));
  if (create_ == nullptr) {
    const char* words = dlerror();
    const std::string reason = words == nullptr ? "it cannot be opened" : words;
    if (library_ != nullptr) dlclose(library_);
    throw std::runtime_error("recorder: cannot load module '" + path_ + "': " + reason);
  }
  if (reinterpret_cast<void*>(create_) == dlsym(RTLD_DEFAULT, "create") || create_ == &::create) {
    dlclose(library_);
    throw std::runtime_error("recorder: module '" + path_ + "' is the recorder");
  }
  read_notes();
}

RealModule::~RealModule() { dlclose(library_); }

std::unique_ptr<tesk::RigidBodySystem> RealModule::create() const {
  std::unique_ptr<tesk::RigidBodySystem> made(create_());
  if (!made) throw std::runtime_error("recorder: module '" + path_ + "' made no object");
  return made;
}

void RealModule::read_notes() {
  const link_map* loaded = nullptr;
  const ElfW(Phdr)* segments = nullptr;
  if (dlinfo(library_, RTLD_DI_LINKMAP, &loaded) != 0) return;
  const int count = dlinfo(library_, RTLD_DI_PHDR, &segments);
  for (int i = 0; i < count; ++i) {
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the loader gives addresses as numbers
    const auto* const notes = reinterpret_cast<const char*>(loaded->l_addr + segments[i].p_vaddr);
    if (segments[i].p_type == PT_NOTE) read_notes(notes, notes + segments[i].p_memsz);
  }
}

void RealModule::read_notes(const char* at, const char* end) {
  while (end - at >= static_cast<std::ptrdiff_t>(sizeof(ElfW(Nhdr)))) {
    ElfW(Nhdr) note{};
    std::memcpy(&note, at, sizeof(note));
    const std::string owner(at + sizeof(note), note.n_namesz);
    const char* text = at + sizeof(note) + ((note.n_namesz + 3U) & ~3U);
    if (owner == std::string("korvel") + '\0' && note.n_type == 1) version_ = text;
    if (owner == std::string(ELF_NOTE_GNU) + '\0' && note.n_type == NT_GNU_BUILD_ID) {
      build_id_.clear();
      for (unsigned byte = 0; byte < note.n_descsz; ++byte) {
        build_id_ += hexadecimal(static_cast<unsigned char>(text[byte]), 2);
      }
    }
    at = text + ((note.n_descsz + 3U) & ~3U);
  }
}

std::string hexadecimal(std::uint64_t value, unsigned digits) {
  std::string text;
  while (digits > 0) text += "0123456789abcdef"[value >> 4 * --digits & 15];
  return text;
}

}  // namespace korvel::record
