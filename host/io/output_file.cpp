#include "host/io/output_file.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "host/io/error.h"

namespace korvel::host {

namespace {

Error write_error(const std::filesystem::path& path, int code) {
  return Error(fmt::format("{}: cannot write: {}", path.string(), std::generic_category().message(code)));
}

}  // namespace

OutputFile::OutputFile(const std::filesystem::path& path)
    // Behind a symbolic link, the file that it names is written and the link stays.
    : path_(std::filesystem::weakly_canonical(path)), temporary_(path_.string() + fmt::format(".{}.part", getpid())) {
  if (path.empty()) throw Error("expected the path of an output file, found ''");
  // The final renaming would replace devices and write-protected files just the same.
  if (std::filesystem::exists(path_)) {
    if (!std::filesystem::is_regular_file(path_)) {
      throw Error(fmt::format("{}: cannot write: expected a regular file or a new name", path.string()));
    }
    if (access(path_.c_str(), W_OK) != 0) throw write_error(path, errno);
  }
  file_.reset(std::fopen(temporary_.c_str(), "wx"));
  if (!file_) throw write_error(path, errno);
}

OutputFile::~OutputFile() {
  if (temporary_.empty()) return;
  std::error_code ignored;
  std::filesystem::remove(temporary_, ignored);
}

void OutputFile::write(std::string_view text) {
  if (std::fwrite(text.data(), 1, text.size(), file_.get()) != text.size()) throw write_error(path_, errno);
}

void OutputFile::close() {
  if (file_ && std::fclose(file_.release()) != 0) throw write_error(path_, errno);
}

void OutputFile::commit() {
  close();
  std::error_code status;
  std::filesystem::rename(temporary_, path_, status);
  if (status) throw write_error(path_, status.value());
  temporary_.clear();
}

}  // namespace korvel::host
