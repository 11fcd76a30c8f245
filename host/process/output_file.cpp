#include "host/process/output_file.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <fstream>
#include <optional>
#include <random>
#include <system_error>

namespace korvel::host {

namespace {

std::optional<struct stat> status_of(const std::filesystem::path& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return std::nullopt;
  return status;
}

Error cannot_write(const std::filesystem::path& path, std::string_view reason) {
  return Error("{}: cannot write: {}", path.string(), reason);
}

constexpr const char* open_files = "/proc/self/fd";
constexpr const char* expected_file = "expected a regular file or a new name";

/// The real path of the directory, and the last name. The system cannot resolve a file that does not exist yet, and a
/// directory that does not exist must not vanish from `nowhere/../file`.
std::filesystem::path resolved(const std::filesystem::path& path) {
  std::error_code failure;
  struct stat status {};
  if (lstat(path.c_str(), &status) == 0) {
    std::filesystem::path target = std::filesystem::canonical(path, failure);
    if (!failure) return target;
    // A pipe that /dev/stdout leads to has no path.
    if (status_of(path)) throw cannot_write(path, expected_file);
    if (failure == std::errc::no_such_file_or_directory) throw cannot_write(path, "a symbolic link to nothing");
    throw write_error(path, failure.value());
  }
  if (errno != ENOENT) throw write_error(path, errno);
  const std::filesystem::path named = path.has_parent_path() ? path.parent_path() : ".";
  const std::filesystem::path directory = std::filesystem::canonical(named, failure);
  if (failure == std::errc::no_such_file_or_directory) {
    throw cannot_write(path, fmt::format("the directory '{}' does not exist", named.string()));
  }
  if (failure) throw write_error(path, failure.value());
  if (!path.has_filename()) throw write_error(path, EISDIR);
  return directory / path.filename();
}

bool is_program(const std::filesystem::path& path) {
  std::array<char, 4> start{};
  std::ifstream(path, std::ios::binary).read(start.data(), start.size());
  return start == std::array<char, 4>{'\x7f', 'E', 'L', 'F'};
}

std::filesystem::path temporary_name(const OutputPath& path) {
  std::random_device random;
  return path.target.parent_path() / fmt::format(".korvel-{:08x}{:08x}", random(), random());
}

}  // namespace

void Outputs::keep(const std::filesystem::path& path, const std::string& what) { taken_.emplace_back(path, what); }

OutputPath Outputs::claim(const std::filesystem::path& path) {
  if (path.empty() || path == "-") {
    throw Error("expected the path of an output file, found '{}'{}", path.string(),
                path.empty() ? "" : "; ./- is a file of this name");
  }
  OutputPath output{path, resolved(path)};
  for (const auto& [taken, what] : taken_) {
    std::error_code missing;
    if (output.target == taken || std::filesystem::equivalent(output.target, taken, missing)) {
      throw cannot_write(path, "would replace " + what);
    }
  }
  if (const auto existing = status_of(output.target)) {
    // Renaming would replace devices and write-protected files as well.
    if (!S_ISREG(existing->st_mode)) throw cannot_write(path, expected_file);
    // The paths of module and output are easily confused.
    if (is_program(output.target)) throw cannot_write(path, "would replace a program or library");
    if (access(output.target.c_str(), W_OK) != 0) throw write_error(path, errno);
  }
  if (access(output.target.parent_path().c_str(), W_OK | X_OK) != 0) throw write_error(path, errno);
  taken_.emplace_back(output.target, "another output");
  return output;
}

OutputFile::OutputFile(OutputPath path) : OutputFile(std::move(path), NotOpened{}) {
  const auto old = status_of(path_.target);
  // Data that the older file hid stays hidden until the new one has its owner and mode.
  const mode_t mode = old ? 0600 : 0666;
  int descriptor = -1;
  // The name is given to the open file by its path in /proc, which a host may lack.
  if (access(open_files, X_OK) == 0) {
    descriptor = open(path_.target.parent_path().c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, mode);
  }
  if (descriptor < 0) {
    temporary_ = temporary_name(path_);
    descriptor = open(temporary_.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, mode);
    require(descriptor >= 0);
  }
  file_.reset(fdopen(descriptor, "w"));
  if (file_ == nullptr) ::close(descriptor);
  require(file_ != nullptr);
  if (!old) return;
  // Some owners can be set by the system's administrator only; the permissions matter more.
  if (fchown(descriptor, old->st_uid, old->st_gid) != 0) {
    static_cast<void>(fchown(descriptor, static_cast<uid_t>(-1), old->st_gid) == 0);
  }
  require(fchmod(descriptor, old->st_mode & 0777U) == 0);
}

OutputFile::~OutputFile() {
  if (!temporary_.empty()) unlink(temporary_.c_str());
}

void OutputFile::require(bool succeeded) const {
  if (!succeeded) throw write_error(path_.named, errno);
}

void OutputFile::write(std::string_view text) {
  require(std::fwrite(text.data(), 1, text.size(), file_.get()) == text.size());
}

void OutputFile::close() {
  const int descriptor = fileno(file_.get());
  require(std::fflush(file_.get()) == 0 && fsync(descriptor) == 0);
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) == 0 && static_cast<rlim_t>(descriptor) >= limit.rlim_cur / 2) close_with_name();
}

void OutputFile::close_with_name() {
  if (temporary_.empty()) {
    std::filesystem::path name = temporary_name(path_);
    const std::string open_file = fmt::format("{}/{}", open_files, fileno(file_.get()));
    require(linkat(AT_FDCWD, open_file.c_str(), AT_FDCWD, name.c_str(), AT_SYMLINK_FOLLOW) == 0);
    temporary_ = std::move(name);
  }
  require(std::fclose(file_.release()) == 0);
}

void OutputFile::commit() {
  if (file_) close();
  if (file_) close_with_name();
  require(rename(temporary_.c_str(), path_.target.c_str()) == 0);
  temporary_.clear();
}

Error write_error(const std::filesystem::path& path, int code) {
  return cannot_write(path, std::generic_category().message(code));
}

}  // namespace korvel::host
