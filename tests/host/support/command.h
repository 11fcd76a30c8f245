#pragma once

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <vector>

#include "host/io/csv_reader.h"
#include "tests/host/support/files.h"

namespace korvel::host {

class CommandTest : public testing::Test {
 protected:
  struct Outcome {
    int status;
    std::string out, err;
  };

  /// Runs the executable in `directory_`, in a shell that has run `preparation`.
  Outcome host(const std::string& arguments, const std::string& preparation = ":",
               const std::string& executable = KORVEL_HOST_EXECUTABLE) const {
    const TemporaryDirectory streams;
    const std::string command =
        fmt::format("{} && cd '{}' && '{}' {} >'{}' 2>'{}'", preparation, directory_.path().string(), executable,
                    arguments, (streams / "out").string(), (streams / "err").string());
    const int status = std::system(command.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, read(streams / "out"), read(streams / "err")};
  }

  std::vector<std::string> files() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(directory_.path())) {
      names.push_back(entry.path().filename());
    }
    std::sort(names.begin(), names.end());
    return names;
  }

  /// Results of `motion.csv`: the column of each name.
  std::map<std::string, std::vector<float>> results() const {
    const Outcome outcome = host("run motion.csv -o results.csv");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    std::vector<std::string> names;
    std::map<std::string, std::vector<float>> columns;
    read_csv(directory_ / "results.csv", [&](const CsvRow& row) {
      if (names.empty()) {
        names = row.fields;
        return;
      }
      for (std::size_t i = 0; i < row.fields.size(); ++i) {
        columns[names.at(i)].push_back(std::strtof(row.fields[i].c_str(), nullptr));
      }
    });
    return columns;
  }

  TemporaryDirectory directory_;
};

}  // namespace korvel::host
