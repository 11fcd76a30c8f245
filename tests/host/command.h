#pragma once

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>

#include "tests/host/files.h"

namespace korvel::host {

class CommandTest : public testing::Test {
 protected:
  struct Outcome {
    int status;
    std::string out, err;
  };

  /// Runs the executable in `directory_`, in a shell that has run `preparation`.
  Outcome host(const std::string& arguments, const std::string& preparation = ":") const {
    const TemporaryDirectory streams;
    const std::string command =
        fmt::format("{} && cd '{}' && '{}' {} >'{}' 2>'{}'", preparation, directory_.path().string(),
                    KORVEL_HOST_EXECUTABLE, arguments, (streams / "out").string(), (streams / "err").string());
    const int status = std::system(command.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, read(streams / "out"), read(streams / "err")};
  }

  TemporaryDirectory directory_;
};

}  // namespace korvel::host
