#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <set>

#include "tests/host/support/command.h"

namespace korvel::host {
namespace {

/// Every way to name a file where none of use is, at every place where one is named; every number that is none, at
/// every number; words that are no command. All are refused, in one line, and nothing changes.
class Hostile : public CommandTest {
 protected:
  void SetUp() override {
    write(directory_ / "good.csv", "time\n0\n");
    write(directory_ / "text", "no table, no module\n");
    using namespace std::string_literals;
    write(directory_ / "binary",
          "\x7f"
          "ELF\0\0\0\xff,\x1b[2J\n\n\r,"s);
    write(directory_ / "quote.csv", "time,\"\n0,1\n");
    write(directory_ / "header.csv", "time\n");
    write(directory_ / "control.csv", "time,\x1b[31m\n0,1\n");
    write(directory_ / "nan.csv", "time,HeadYaw\n0,nan\n");
    write(directory_ / "huge.csv", "time,HeadYaw\n0,1e39\n");
    write(directory_ / "empty", "");
    write(directory_ / "cut.so", read(KORVEL_MODULE).substr(0, 9000));
    std::filesystem::create_directory(directory_ / "directory");
    std::filesystem::create_symlink("nothing", directory_ / "dangling");
    std::filesystem::create_symlink("loop", directory_ / "loop");
    ASSERT_EQ(mkfifo((directory_ / "pipe").c_str(), 0600), 0);
    before_ = contents();
  }

  void expect_refused(const std::string& arguments) {
    if (!tried_.insert(arguments).second) return;
    const Outcome outcome = shell(fmt::format("'{}' {}", KORVEL_HOST_EXECUTABLE, arguments));
    EXPECT_EQ(outcome.status, 2) << arguments << "\n" << outcome.out << outcome.err;
    EXPECT_EQ(outcome.out, "") << arguments;
    expect_one_line(outcome.err, arguments);
    const auto after = contents();
    EXPECT_EQ(after, before_) << arguments;
    if (after != before_) GTEST_SKIP() << "the directory is no longer as it was";
  }

  void expect_refused(const std::vector<std::string>& commands, const std::vector<std::string>& words) {
    for (const std::string& command : commands) {
      for (const std::string& word : words) {
        const std::size_t place = command.find("{}");
        expect_refused(std::string(command).replace(place, 2, "'" + word + "'"));
      }
    }
  }

  std::map<std::string, std::string> before_;
  std::set<std::string> tried_;
};

std::vector<std::string> operator+(std::vector<std::string> a, const std::vector<std::string>& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

TEST_F(Hostile, NothingHarms) {
  const std::vector<std::string> nowhere_short = {"",          ".",          "..",           "/",
                                                  "directory", "directory/", "nowhere/file", "nowhere/../text",
                                                  "text/file", "dangling",   "loop"};
  const std::vector<std::string> nowhere =
      nowhere_short + std::vector<std::string>{std::string(300, 'n'), std::string(5000, 'p'),
                                               "nowhere/" + std::string(240, '%'), "no\nwhere/\x1b[2J\r\x07",
                                               "nowhere/\xff\xfe\xe2\x80\xae"};
  const std::vector<std::string> not_there = {"-", "none", "%s%n%x", "{}{0}", "\x1b]0;title\x07", "*", "~", "$HOME"};
  const std::vector<std::string> no_table = {"text",        "binary",    "empty",   "cut.so",    "/dev/null",
                                             "/dev/zero",   "/dev/full", "pipe",    "quote.csv", "header.csv",
                                             "control.csv", "nan.csv",   "huge.csv"};
  const std::vector<std::string> no_module = {"text", "binary",    "empty",     "cut.so",   "good.csv",
                                              "pipe", "/dev/zero", "/dev/full", "/dev/null"};
  const std::vector<std::string> no_output = {"-", "pipe", "/dev/full", "/dev/zero", "/dev/null", "binary"};
  const std::vector<std::string> no_count = {"",   " ",  "-1",  "+1", "010", "0x1", "1.0", "1e1",
                                             "1 ", "\n", "nan", "--", "one", "1,2", "٣",   "99999999999999999999999"};

  expect_refused({"run {} -o results.csv", "run good.csv {} -o directory"}, nowhere + not_there + no_table);
  expect_refused({"run good.csv -o results.csv --soles {}"}, {"pipe"});
  expect_refused({"run good.csv -o results.csv --limits {}", "export --urdf robot.urdf --limits {}"},
                 nowhere + not_there + no_table);
  expect_refused({"report {} -o page.html"}, nowhere + not_there + no_table);
  expect_refused({"run good.csv --module {} -o results.csv", "info --module {}", "export --module {} --urdf robot.urdf",
                  "soak --module {}"},
                 nowhere + not_there + no_module);
  // One that is cut short is a module, and a finding.
  std::vector<std::string> no_library = no_module;
  no_library.erase(std::find(no_library.begin(), no_library.end(), "cut.so"));
  expect_refused({"validate {}", "validate --json {}"}, nowhere + not_there + no_library);
  expect_refused({"run good.csv -o {}", "report good.csv -o {}", "info --json -o {}", "validate --level 1 -o {}",
                  "export --urdf robot.urdf --mjcf {}"},
                 // A directory is where results may go.
                 no_output + std::vector<std::string>(nowhere.begin() + 6, nowhere.end()));
  expect_refused({"validate --seed {}", "validate --jobs {}", "validate --level {}", "run good.csv -o r --jobs {}",
                  "soak --cycles {}"},
                 no_count);
  expect_refused({"validate --jobs {}", "validate --level {}", "run good.csv -o r --jobs {}"},
                 {"0", "65", "4294967297"});
  expect_refused({"soak --cycles {}", "soak --priority {}"}, {"0", "1000000000001"});
  expect_refused({"soak --priority {}"}, {"100"});
  expect_refused({"run good.csv -o r --cutoff {}"},
                 {"", "0", "-1", "nan", "inf", "1e999", "1e-999", "0x1p3", "1 Hz", "6,0", "--", "1e-40"});
  expect_refused({"validate --only {}"},
                 {"(", "[", "*", "a{2,1}", "\\", "no-such-check", std::string(20000, '('), std::string(20000, 'a'),
                  "((((((((((a{99}){99}){99}){99}", "((.?){300}){100}z", "((.{0,9}){0,9}){0,99}z", "(?<=x)",
                  "[[:none:]]", "\x1b[2J"});
  const char* const lines[] = {"",
                               "nonsense",
                               "--nonsense",
                               "-",
                               "'' ''",
                               "RUN",
                               "run",
                               "run --",
                               "report",
                               "export",
                               "export --json",
                               "info good.csv",
                               "info --json --dot",
                               "info --json=maybe",
                               "run good.csv -o a -o b",
                               "validate a b",
                               "--version=x",
                               "info --module",
                               "info -o",
                               "run --output",
                               "validate --list --only '('",
                               "run good.csv -o /dev/stdout",
                               "info -o /dev/stderr",
                               "'inf\no'",
                               "'--\x1b[2J'",
                               "info run good.csv"};
  for (const char* line : lines) expect_refused(line);
  expect_refused("run good.csv -o r --module a --module b");
  expect_refused("run good.csv -o r --soles good.csv --air --require-feasible");
  expect_refused("report good.csv good.csv good.csv -o page.html");
  expect_refused("validate --list --only no-such-check");
  expect_refused("validate --list --level 1 --only fuzz");
  expect_refused("\"$(printf 'a%.0s' $(seq 100000))\"");
  EXPECT_GE(tried_.size(), 200U);
}

}  // namespace
}  // namespace korvel::host
