#include "host/process/output_file.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <string>
#include <vector>

#include "tests/host/support/files.h"

namespace korvel::host {
namespace {

bool restrict_calls(std::vector<sock_filter> program) {
  sock_fprog filter{static_cast<unsigned short>(program.size()), program.data()};
  return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
}

/// Makes this process find no file system that can hold a file without a name.
bool forbid_files_without_names() {
  constexpr unsigned tmpfile = O_TMPFILE & ~static_cast<unsigned>(O_DIRECTORY);
  return restrict_calls({
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_openat, 0, 3),
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args) + 2 * sizeof(std::uint64_t)),
      BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, tmpfile, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EOPNOTSUPP),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  });
}

/// Makes the disk of this process full, which shows when a file is synchronised.
bool forbid_synchronising() {
  return restrict_calls({
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_fsync, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSPC),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  });
}

enum class Kind { without_name, with_name };

class Written : public testing::TestWithParam<Kind> {
 protected:
  std::size_t count() const {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(directory_.path()), {}));
  }

  /// Calls the function in a process with the kind of file, and tells whether all it looked at was right.
  template <typename Function>
  bool holds(const Function& function) const {
    const pid_t child = fork();
    if (child == 0) {
      if (GetParam() == Kind::with_name && !forbid_files_without_names()) _exit(2);
      bool right = false;
      try {
        right = function();
      } catch (const std::exception& error) {
        fmt::print(stderr, "{}\n", error.what());
      }
      _exit(right ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
  }

  OutputPath path(const char* name) const { return Outputs().claim(directory_ / name); }

  TemporaryDirectory directory_;
};

TEST_P(Written, AppearsWhenItIsComplete) {
  write(directory_ / "old", "old");
  EXPECT_TRUE(holds([&] {
    const std::size_t names = GetParam() == Kind::with_name ? 1 : 0;
    OutputFile fresh(path("new"));
    OutputFile replacing(path("old"));
    fresh.write("one");
    replacing.write("two");
    const bool unseen = count() == 1 + 2 * names && read(directory_ / "old") == "old";
    fresh.close();
    fresh.commit();
    replacing.commit();
    return unseen && read(directory_ / "new") == "one" && read(directory_ / "old") == "two" && count() == 2;
  }));
}

TEST_P(Written, IsGoneUnlessItIsComplete) {
  write(directory_ / "old", "old");
  EXPECT_TRUE(holds([&] {
    for (const char* name : {"old", "new"}) {
      OutputFile closed(path(name));
      closed.write("text");
      closed.close();
      OutputFile open(path(name));
      open.write("text");
    }
    return count() == 1 && read(directory_ / "old") == "old";
  }));
}

// A file whose text is not on the disk does not take the place of one whose text is.
TEST_P(Written, IsOnTheDiskBeforeItAppears) {
  write(directory_ / "old", "old");
  EXPECT_TRUE(holds([&] {
    if (!forbid_synchronising()) return false;
    for (const bool closed : {false, true}) {
      OutputFile file(path("old"));
      file.write("new");
      try {
        if (closed) file.close();
        file.commit();
        return false;
      } catch (const Error& error) {
        if (std::string(error.what()).find("No space left") == std::string::npos) return false;
      }
    }
    return read(directory_ / "old") == "old";
  }));
}

// Files that an earlier run left behind, perhaps under the same process number, do not stand in the way.
TEST_P(Written, NeedsNothingToBeCleanedUp) {
  for (int run = 0; run < 3; ++run) {
    EXPECT_TRUE(holds([&] {
      OutputFile interrupted(path("file"));
      interrupted.write("half");
      _exit(0);
      return false;
    }));
    EXPECT_EQ(count(), GetParam() == Kind::with_name ? static_cast<std::size_t>(run) + 1 : 0U);
  }
  EXPECT_TRUE(holds([&] {
    OutputFile file(path("file"));
    file.write("whole");
    file.commit();
    return read(directory_ / "file") == "whole";
  }));
}

INSTANTIATE_TEST_SUITE_P(Files, Written, testing::Values(Kind::without_name, Kind::with_name), [](const auto& kind) {
  return std::string(kind.param == Kind::with_name ? "WithTemporaryName" : "WithoutName");
});

}  // namespace
}  // namespace korvel::host
