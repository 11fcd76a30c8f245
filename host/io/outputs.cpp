#include "host/io/outputs.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <optional>
#include <system_error>

#include "host/io/program_file.h"

namespace korvel::host {

namespace {

std::optional<struct stat> status_of(const std::filesystem::path& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return std::nullopt;
  return status;
}

Error no_regular_file(const std::filesystem::path& path) {
  return Error(fmt::format("{}: cannot write: expected a regular file or a new name", path.string()));
}

/// Of the directory's real path and the last name. What is not there yet cannot be resolved by the system, and a
/// directory that is not there must not vanish from `nowhere/../file`.
std::filesystem::path resolved(const std::filesystem::path& path) {
  std::error_code failure;
  struct stat status {};
  if (lstat(path.c_str(), &status) == 0) {
    std::filesystem::path target = std::filesystem::canonical(path, failure);
    if (!failure) return target;
    // Of a pipe that /dev/stdout leads to there is no path.
    if (status_of(path)) throw no_regular_file(path);
    if (failure == std::errc::no_such_file_or_directory) {
      throw Error(fmt::format("{}: cannot write: a symbolic link to nothing", path.string()));
    }
    throw write_error(path, failure.value());
  }
  if (errno != ENOENT) throw write_error(path, errno);
  const std::filesystem::path parent = path.has_parent_path() ? path.parent_path() : ".";
  const std::filesystem::path directory = std::filesystem::canonical(parent, failure);
  if (failure) throw write_error(path, failure.value());
  if (!path.has_filename()) throw write_error(path, EISDIR);
  return directory / path.filename();
}

}  // namespace

void Outputs::keep(const std::filesystem::path& path, const std::string& what) {
  if (const auto status = status_of(path)) taken_.push_back({{status->st_dev, status->st_ino, {}}, what});
}

OutputPath Outputs::claim(const std::filesystem::path& path) {
  if (path.empty()) throw Error("expected the path of an output file, found ''");
  if (path == "-") throw Error("expected the path of an output file, found '-'; ./- is a file of this name");
  OutputPath output;
  output.named_ = path;
  output.target_ = resolved(path);
  const std::filesystem::path directory = output.target_.parent_path();
  const auto there = status_of(output.target_);
  const auto status = there ? there : status_of(directory);
  if (!status) throw write_error(path, errno);

  const Identity identity{status->st_dev, status->st_ino, there ? std::string() : output.target_.filename().string()};
  for (const Taken& taken : taken_) {
    if (taken.identity == identity)
      throw Error(fmt::format("{}: cannot write: would replace {}", path.string(), taken.what));
  }
  // Renaming would replace devices and write-protected files just the same.
  if (there && !S_ISREG(there->st_mode)) {
    throw no_regular_file(path);
  }
  // A slip of a finger puts the module where the output was meant to be.
  if (there && is_program(output.target_)) {
    throw Error(fmt::format("{}: cannot write: would replace a program or library", path.string()));
  }
  if (there && access(output.target_.c_str(), W_OK) != 0) throw write_error(path, errno);
  if (access(directory.c_str(), W_OK | X_OK) != 0) throw write_error(path, errno);
  taken_.push_back({identity, "another output"});
  return output;
}

Error write_error(const std::filesystem::path& path, int code) {
  return Error(fmt::format("{}: cannot write: {}", path.string(), std::generic_category().message(code)));
}

}  // namespace korvel::host
