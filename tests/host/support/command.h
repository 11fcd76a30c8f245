#pragma once

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <map>
#include <vector>

#include "motion/csv/csv_reader.h"
#include "motion/csv/printable.h"
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
    return shell(fmt::format("{} && '{}' {}", preparation, executable, arguments));
  }

  /// The same of a command that succeeds.
  Outcome succeeded(const std::string& arguments, const std::string& preparation = ":") const {
    Outcome outcome = host(arguments, preparation);
    EXPECT_EQ(outcome.status, 0) << arguments << outcome.err;
    return outcome;
  }

  /// Runs a shell's command in `directory_`. A signal that ends the last program is a status above 128.
  Outcome shell(const std::string& command) const {
    const TemporaryDirectory streams;
    const std::string whole = fmt::format("(cd '{}' && {}) >'{}' 2>'{}'", directory_.path().string(), command,
                                          (streams / "out").string(), (streams / "err").string());
    const int status = std::system(whole.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, read(streams / "out"), read(streams / "err")};
  }

  /// Returns the regular files in `directory_` by name.
  std::map<std::string, std::string> contents() const {
    std::map<std::string, std::string> all;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(directory_.path())) {
      const bool is_file = std::filesystem::is_regular_file(entry.symlink_status());
      all[entry.path().lexically_relative(directory_.path())] = is_file ? read(entry.path()) : std::string();
    }
    return all;
  }

  static void expect_has(const std::string& text, const std::string& words) {
    EXPECT_NE(text.find(words), std::string::npos) << words << "\n" << text;
  }

  /// Status 2, one line with these words, and the directory as it was.
  void expect_refused(const std::string& arguments, const std::string& words,
                      const std::string& preparation = ":") const {
    const auto before = contents();
    const Outcome outcome = host(arguments, preparation);
    EXPECT_EQ(outcome.status, 2) << arguments << preparation << outcome.err;
    EXPECT_EQ(outcome.out, "") << arguments << preparation;
    expect_has(outcome.err, words);
    expect_one_line(outcome.err, arguments + preparation);
    EXPECT_EQ(contents(), before) << arguments << preparation;
  }

  /// Exactly one line for a person, which no terminal can be steered by.
  static void expect_one_line(const std::string& text, const std::string& after) {
    const auto is_control = [](char c) { return (c >= '\0' && c < ' ') || c == '\x7f'; };
    EXPECT_EQ(text.find('\n') + 1, text.size()) << after << "\n" << text;
    EXPECT_LE(text.size(), 300U) << after;
    EXPECT_EQ(std::count_if(text.begin(), text.end(), is_control), 1) << after << "\n" << text;
    EXPECT_EQ(printable_lines(text), text) << after;
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
    succeeded("run motion.csv -o results.csv --air");
    return columns_in("results.csv");
  }

  /// The column of each name in a file of results.
  template <typename Number = float>
  std::map<std::string, std::vector<Number>> columns_in(const char* file) const {
    std::vector<std::string> names;
    std::map<std::string, std::vector<Number>> columns;
    read_csv(directory_ / file, [&](const CsvRow& row) {
      if (names.empty()) {
        names = row.fields;
        return;
      }
      for (std::size_t i = 0; i < row.fields.size(); ++i) {
        Number value{};
        std::from_chars(row.fields[i].data(), row.fields[i].data() + row.fields[i].size(), value);
        columns[names.at(i)].push_back(value);
      }
    });
    return columns;
  }

  TemporaryDirectory directory_;
};

}  // namespace korvel::host
