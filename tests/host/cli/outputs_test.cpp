#include <sys/stat.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include "tests/host/support/command.h"

namespace korvel::host {
namespace {

class Outputs : public CommandTest {
 protected:
  /// The same file by other names.
  void alias(const char* name) const {
    std::filesystem::create_hard_link(directory_ / name, directory_ / (std::string("hard-") + name).c_str());
    std::filesystem::create_symlink(name, directory_ / (std::string("soft-") + name).c_str());
  }
};

// However a file is named that the command reads, or that belongs to it, nothing is written over it.
TEST_F(Outputs, NoneReplacesAnInput) {
  write(directory_ / "motion.csv", "time\n0\n1\n");
  std::filesystem::copy_file(KORVEL_MODULE, directory_ / "mine.so");
  for (const char* name : {"motion.csv", "mine.so"}) alias(name);
  std::filesystem::create_directories(directory_ / "sub/bin");
  std::filesystem::copy_file(KORVEL_HOST_EXECUTABLE, directory_ / "sub/bin/korvel-host");
  std::filesystem::copy_file(KORVEL_MODULE, directory_ / "sub/bin/libkorvel.so");
  write(directory_ / "sub/bin/report.html", "@KORVEL_REPORT_DATA@");
  std::filesystem::create_symlink("sub", directory_ / "way");
  const std::map<std::string, std::string> before = contents();

  const auto refused = [&](const std::string& arguments, const std::string& output, const char* words) {
    for (const std::string& name : {output, "./" + output, "sub/../" + output, "way/../" + output,
                                    (directory_ / output.c_str()).string(), "hard-" + output, "soft-" + output}) {
      if (output.find('/') != std::string::npos && (name[0] == 'h' || name[0] == 's')) continue;
      const std::string command = fmt::format("{} '{}'", arguments, name);
      const Outcome outcome = host(command, ":", directory_ / "sub/bin/korvel-host");
      EXPECT_EQ(outcome.status, 2) << command;
      expect_has(outcome.err, std::string("cannot write: would replace ") + words);
      expect_one_line(outcome.err, command);
    }
  };
  refused("run motion.csv -o", "motion.csv", "a motion\n");
  refused("report motion.csv -o", "motion.csv", "the results\n");
  for (const char* arguments :
       {"run motion.csv --module mine.so -o", "info --module mine.so --output", "info --json --module mine.so -o",
        "validate mine.so -o", "validate mine.so --json -o", "export --module mine.so --urdf a --mjcf"}) {
    refused(arguments, "mine.so", "the module\n");
  }
  for (const char* arguments : {"run motion.csv --module mine.so -o", "info --module mine.so -o", "export --mjcf"}) {
    refused(arguments, "way/bin/korvel-host", "korvel-host\n");
    refused(arguments, "way/bin/report.html", "the page of the report\n");
  }
  refused("info --module mine.so -o", "way/bin/libkorvel.so", "the installed module\n");
  // This file is no input, but nobody means to overwrite it.
  refused("info -o", "mine.so", "a program or library\n");
  EXPECT_EQ(contents(), before);
}

// The file behind the standard output is already being written.
TEST_F(Outputs, NoneReplacesTheStandardOutput) {
  write(directory_ / "motion.csv", "time\n0\n1\n");
  for (const char* arguments : {"run motion.csv -o said", "run motion.csv -o /dev/stdout", "info -o said",
                                "validate --level 1 --only loads -o said"}) {
    const Outcome outcome = shell(fmt::format("'{}' {} >said", KORVEL_HOST_EXECUTABLE, arguments));
    EXPECT_EQ(outcome.status, 2) << arguments;
    expect_has(outcome.err, "would replace the standard output");
  }
}

TEST_F(Outputs, NoneReplacesAnother) {
  write(directory_ / "motion.csv", "time\n0\n");
  write(directory_ / "model", "old");
  alias("model");
  std::filesystem::create_directory(directory_ / "sub");
  write(directory_ / "sub/motion.csv", "time\n0\n");
  for (const char* arguments : {"export --urdf new --mjcf new", "export --urdf new --mjcf ./new",
                                "export --urdf new --mjcf sub/../new", "export --urdf model --mjcf hard-model",
                                "export --mjcf soft-model --urdf model", "run motion.csv sub/motion.csv -o sub"}) {
    expect_refused(arguments, "cannot write: would replace");
  }
}

// The description beside results replaces an older one, and no file of another origin, which the user has not named.
TEST_F(Outputs, NoneReplacesADescriptionThatIsNone) {
  write(directory_ / "motion.csv", "time\n0\n");
  for (const char* text : {"", "{}", "[1]", R"({"bodies": 1, "joints": []})", "{\"bodies\": [", "no description\n"}) {
    write(directory_ / "results.json", text);
    expect_refused("run motion.csv -o results.csv",
                   "results.json: cannot write: would replace a file that describes no results; name other results or "
                   "move it\n");
  }
  std::filesystem::remove(directory_ / "results.json");
  for (int repetition = 0; repetition < 2; ++repetition) {
    succeeded("run motion.csv -o results.csv");
  }
}

// `--json` takes no file: what follows it is the module.
TEST_F(Outputs, JsonMeansTheSameEverywhere) {
  std::filesystem::copy_file(KORVEL_PER_BODY_MODULE, directory_ / "mine.so");
  const std::map<std::string, std::string> before = contents();
  const std::string only = " --only 'loading.(loads|counts)'";
  const auto outcomes = nlohmann::json::parse(host("validate --json mine.so" + only).out);
  EXPECT_EQ(outcomes["module"], "mine.so");
  EXPECT_EQ(outcomes["checks"].size(), 2U);
  EXPECT_EQ(nlohmann::json::parse(host("info --json --module mine.so").out)["bodies"].size(), 25U);
  EXPECT_EQ(nlohmann::json::parse(host("validate --list --json").out)[0]["level"], 1);
  EXPECT_EQ(contents(), before);

  // A file gets what the standard output would.
  for (const std::string& arguments : {std::string("info"), std::string("info --json"), std::string("info --dot"),
                                       std::string("validate --list"), std::string("validate --list --json")}) {
    const std::string shown = host(arguments).out;
    EXPECT_FALSE(shown.empty());
    const Outcome outcome = succeeded(arguments + " -o out");
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(read(directory_ / "out"), shown) << arguments;
  }
  // Text names the module first.
  EXPECT_EQ(host("validate mine.so" + only).out.find("mine.so: "), 0U);
}

// Users who could read the old file can read the new one, and nobody else can.
TEST_F(Outputs, AFileThatIsReplacedKeepsItsModeAndOwner) {
  write(directory_ / "motion.csv", "time\n0\n");
  const std::filesystem::path results = write(directory_ / "results.csv", "old");
  std::filesystem::create_symlink("results.csv", directory_ / "link.csv");
  ASSERT_EQ(chmod(results.c_str(), 0640), 0);
  const bool may_give_away = chown(results.c_str(), 12345, 12346) == 0;
  succeeded("run motion.csv -o link.csv", "umask 077");
  EXPECT_NE(read(results), "old");
  struct stat status {};
  ASSERT_EQ(stat(results.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0640U);
  EXPECT_EQ(status.st_uid, may_give_away ? 12345U : geteuid());
  if (may_give_away) {
    EXPECT_EQ(status.st_gid, 12346U);
  }

  succeeded("run motion.csv -o new.csv", "umask 027");
  ASSERT_EQ(stat((directory_ / "new.csv").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0640U);
  EXPECT_TRUE(std::filesystem::is_symlink(directory_ / "link.csv"));
}

TEST_F(Outputs, ALinkThatLeadsNowhereIsRefused) {
  write(directory_ / "motion.csv", "time\n0\n");
  std::filesystem::create_symlink("nothing.csv", directory_ / "results.csv");
  expect_refused("run motion.csv -o results.csv", "results.csv: cannot write: a symbolic link to nothing\n");
}

TEST_F(Outputs, LongNamesWorkOrAreRefused) {
  const std::string longest = std::string(250, 'n') + ".csv";
  write(directory_ / longest.c_str(), "time\n0\n");
  std::filesystem::create_directory(directory_ / "all");
  for (int repetition = 0; repetition < 2; ++repetition) {
    succeeded(fmt::format("run {} -o all/{}", longest, longest));
  }
  expect_refused(fmt::format("run {} -o all", longest), "File name too long\n");
}

// Names of motions and outputs, and words of the user, must not send control characters to the terminal.
TEST_F(Outputs, NamesNeverSteerTheTerminal) {
  const std::string name = "a\n\x1b[31m\xe2\x80\xae\x9b\xff.csv";
  const std::string shown = R"(a\x0a\x1b[31m\xe2\x80\xae\x9b\xff.csv)";
  write(directory_ / name.c_str(), "time,HeadYaw\n0,0.123\n0.01,0.124\n0.02,0.121\n");
  write(directory_ / "b.csv", "time\n0\n");
  std::filesystem::create_directory(directory_ / "all");
  const Outcome summary = succeeded(fmt::format("run '{}' b.csv -o all", name));
  EXPECT_EQ(summary.out.find("== " + shown + "\n"), 0U) << summary.out;
  EXPECT_EQ(printable_lines(summary.out), summary.out);
  EXPECT_EQ(summary.err.find("korvel-host: warning: " + shown + ": "), 0U)
      << summary.err;  // a doubt about its few decimals
  expect_one_line(summary.err, "doubts");

  std::filesystem::copy_file(KORVEL_MODULE, directory_ / (name + ".so").c_str());
  for (const char* arguments : {"run '{}x' -o x", "run '{}' -o '{}/x'", "info --module '{}x'", "validate '{}x'",
                                "info '--{}'", "'{}'", "validate --only '({}'", "validate --seed '{}'"}) {
    expect_refused(fmt::format(fmt::runtime(arguments), name, name), R"(\x0a\x1b[31m)");
  }
  const Outcome verdict = host(fmt::format("validate '{}.so' --only loading.counts", name));
  EXPECT_EQ(verdict.out.find(shown + ".so: "), 0U) << verdict.out;
  EXPECT_EQ(printable_lines(verdict.out), verdict.out);
}

}  // namespace
}  // namespace korvel::host
