#include "host/io/output_file.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <random>
#include <utility>

#include "host/io/signals_wait.h"

namespace korvel::host {

namespace {

/// The system's name of an open file.
std::string descriptor_path(int descriptor) { return fmt::format("/proc/self/fd/{}", descriptor); }

/// Half of the files that the process may have open.
bool takes_much(int descriptor) {
  rlimit limit{};
  return getrlimit(RLIMIT_NOFILE, &limit) == 0 && static_cast<rlim_t>(descriptor) >= limit.rlim_cur / 2;
}

}  // namespace

OutputFile::OutputFile(OutputPath path) : path_(std::move(path)) {
  struct stat old {};
  const bool replaces = stat(path_.target().c_str(), &old) == 0;
  // Nobody reads what the older file hid before the new one has its owner and mode.
  const int mode = replaces ? 0600 : 0666;
  if (!open_without_name(mode)) open_with_name(mode);
  if (!replaces) return;
  const int descriptor = fileno(file_.get());
  if (fchown(descriptor, old.st_uid, old.st_gid) != 0 && fchown(descriptor, static_cast<uid_t>(-1), old.st_gid) != 0) {
    // An owner that only the system's administrator may set; the permissions matter more.
  }
  if (fchmod(descriptor, old.st_mode & 0777U) != 0) throw write_error(path_.named(), errno);
}

bool OutputFile::open_without_name(int mode) {
  const int descriptor = open(path_.target().parent_path().c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, mode);
  if (descriptor < 0) return false;
  file_.reset(fdopen(descriptor, "w"));
  if (!file_) ::close(descriptor);
  // The name is given by way of the system's directory of open files.
  if (file_ && access(descriptor_path(descriptor).c_str(), F_OK) != 0) file_.reset();
  return file_ != nullptr;
}

void OutputFile::open_with_name(int mode) {
  const int descriptor = make_name(
      [&](const char* name) { return open(name, O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, static_cast<mode_t>(mode)); });
  file_.reset(fdopen(descriptor, "w"));
  if (!file_) {
    ::close(descriptor);
    throw write_error(path_.named(), ENOMEM);
  }
}

template <typename Make>
int OutputFile::make_name(const Make& make) {
  std::random_device random;
  for (int attempt = 0;; ++attempt) {
    temporary_.emplace(path_.target().parent_path() / fmt::format(".korvel-{:08x}{:08x}", random(), random()));
    const int made = make(temporary_->path().c_str());
    if (made >= 0) return made;
    const int code = errno;
    temporary_->release();
    temporary_.reset();
    if (code != EEXIST || attempt == 100) throw write_error(path_.named(), code);
  }
}

bool OutputFile::link_to(const std::filesystem::path& path) const {
  const std::string open = descriptor_path(fileno(file_.get()));
  return linkat(AT_FDCWD, open.c_str(), AT_FDCWD, path.c_str(), AT_SYMLINK_FOLLOW) == 0;
}

void OutputFile::link_beside() {
  make_name([&](const char* name) { return link_to(name) ? 0 : -1; });
}

void OutputFile::write(std::string_view text) {
  if (std::fwrite(text.data(), 1, text.size(), file_.get()) != text.size()) throw write_error(path_.named(), errno);
}

void OutputFile::flush() {
  if (file_ && std::fflush(file_.get()) != 0) throw write_error(path_.named(), errno);
}

void OutputFile::close() {
  if (!file_) return;
  flush();
  if (!takes_much(fileno(file_.get()))) return;
  if (!temporary_) link_beside();
  if (std::fclose(file_.release()) != 0) throw write_error(path_.named(), errno);
}

void OutputFile::commit() {
  flush();
  const SignalsWait wait;
  if (!temporary_) {
    const bool linked = link_to(path_.target());
    if (!linked && errno != EEXIST) throw write_error(path_.named(), errno);
    // A link does not replace what stands there, renaming does.
    if (!linked) link_beside();
  }
  if (file_ && std::fclose(file_.release()) != 0) throw write_error(path_.named(), errno);
  if (!temporary_) return;
  if (rename(temporary_->path().c_str(), path_.target().c_str()) != 0) throw write_error(path_.named(), errno);
  temporary_->release();
}

}  // namespace korvel::host
