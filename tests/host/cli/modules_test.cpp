#include <sys/stat.h>

#include "tests/host/support/command.h"

namespace korvel::host {
namespace {

/// Modules that are none, or do harm when they are loaded.
class Modules : public CommandTest {
 protected:
  void SetUp() override { write(directory_ / "motion.csv", "time\n0\n"); }

  void expect_refused(const std::string& arguments, const std::string& words, const std::string& preparation) const {
    const auto before = contents();
    const Outcome outcome = host(arguments, preparation);
    EXPECT_EQ(outcome.status, 2) << arguments << preparation << outcome.out << outcome.err;
    EXPECT_EQ(outcome.out, "") << arguments << preparation;
    EXPECT_NE(outcome.err.find(words), std::string::npos) << arguments << preparation << outcome.err;
    expect_one_line(outcome.err, arguments + preparation);
    EXPECT_EQ(contents(), before) << arguments << preparation;
  }
};

constexpr const char* loading[] = {"info --module {}", "run motion.csv -o results.csv --module {}",
                                   "export --svg robot.svg --module {}"};

TEST_F(Modules, AFaultyOneIsOneLine) {
  const std::pair<const char*, const char*> faults[] = {
      {"exits at load", "it ended the process with exit status 0"},
      {"aborts at load", "it crashed: Aborted"},
      {"lies at load", "it ended the process with exit status 0"},
      {"returns nothing", "create returned a null pointer"},
      {"throws a number", "create threw something that is no std::exception"},
      {"throws text", R"(create threw: out\x0aof \x1b[31morder)"},
      {"throws bad_alloc", "create threw: std::bad_alloc"},
      {"exits", "it ended the process with exit status 0"},
      {"lies", "it ended the process with exit status 0"},
      {"is no object", "it crashed: Segmentation fault"},
  };
  for (const auto& [fault, words] : faults) {
    for (const char* arguments : loading) {
      expect_refused(fmt::format(fmt::runtime(arguments), KORVEL_BAD_MODULE),
                     fmt::format("cannot load module '{}': {}\n", KORVEL_BAD_MODULE, words),
                     fmt::format("export KORVEL_FAULT='{}'", fault));
    }
  }
}

TEST_F(Modules, OneThatHangsIsGivenUp) {
  for (const char* fault : {"hangs at load", "closes everything and hangs"}) {
    expect_refused(fmt::format("info --module {}", KORVEL_BAD_MODULE), "it does not end within 5 s\n",
                   fmt::format("export KORVEL_FAULT='{}'", fault));
  }
}

TEST_F(Modules, WhatIsNoneIsOneLine) {
  std::filesystem::create_directory(directory_ / "directory");
  ASSERT_EQ(mkfifo((directory_ / "pipe").c_str(), 0600), 0);
  write(directory_ / "empty.so", "");
  const std::string module = read(KORVEL_MODULE);
  for (const char* arguments : {"info --module {}", "run motion.csv -o results.csv --module {}",
                                "export --svg robot.svg --module {}", "validate {}", "validate --json {}"}) {
    for (const auto& [name, words] : {std::pair("directory", "expected a file, found a directory"),
                                      {"pipe", "expected a file, found a device or pipe"},
                                      {"/dev/zero", "expected a file, found a device or pipe"},
                                      {"motion.csv", "expected a shared library, found none"},
                                      {"empty.so", "expected a shared library, found none"},
                                      {"none.so", "No such file or directory"},
                                      {"motion.csv/none.so", "Not a directory"}}) {
      expect_refused(fmt::format(fmt::runtime(arguments), name), words, ":");
    }
    expect_refused(fmt::format(fmt::runtime(arguments), "''"), "expected the path of a module, found ''", ":");
  }
  // Cut anywhere: the loader may say so, or meet pages that are not there.
  for (std::size_t size = 4; size < module.size(); size += module.size() / 7) {
    write(directory_ / "cut.so", module.substr(0, size));
    for (const char* arguments : loading) {
      const Outcome outcome = host(fmt::format(fmt::runtime(arguments), "cut.so"));
      // Without the last sections a module works.
      if (outcome.status == 0) continue;
      EXPECT_EQ(outcome.status, 2) << size;
      EXPECT_EQ(outcome.err.find("cannot load module 'cut.so': "), 0U) << outcome.err;
      expect_one_line(outcome.err, arguments);
    }
  }
}

}  // namespace
}  // namespace korvel::host
