#include <sys/stat.h>

#include "tests/host/support/command.h"

namespace korvel::host {
namespace {

/// Modules that are none, or do harm when they are loaded.
class Modules : public CommandTest {
 protected:
  void SetUp() override { write(directory_ / "motion.csv", "time\n0\n"); }
};

constexpr const char* loading[] = {"info --module {}", "run motion.csv -o results.csv --module {}",
                                   "export --urdf robot.urdf --module {}"};

TEST_F(Modules, OneThatMakesNoRobotIsOneLine) {
  const std::pair<const char*, const char*> faults[] = {
      {"create returns nothing", "create returned a null pointer"},
      {"create throws a number", "create threw something that is not a std::exception"},
      {"create throws", R"(create threw: out\x0aof \x1b[31morder \xff)"},
  };
  for (const auto& [fault, words] : faults) {
    for (const char* arguments : loading) {
      expect_refused(fmt::format(fmt::runtime(arguments), KORVEL_BAD_MODULE),
                     fmt::format("cannot load module '{}': {}\n", KORVEL_BAD_MODULE, words),
                     fmt::format("export KORVEL_FAULT='{}'", fault));
    }
  }
}

TEST_F(Modules, WhatAnOperationThrowsIsOneLine) {
  const std::string soles = fmt::format("run motion.csv -o results.csv --soles '{}/soles.csv'", KORVEL_MOTIONS);
  const std::pair<const char*, std::string> throwing[] = {{"getParentsVector", "info"},
                                                          {"getDofNumbersVector", "info --json"},
                                                          {"getDofIndexesVector", "export --urdf robot.urdf"},
                                                          {"getParentsVector", "run motion.csv -o results.csv"},
                                                          {"getDofIndexesVector", soles},
                                                          {"clone", soles}};
  for (const auto& [operation, arguments] : throwing) {
    expect_refused(fmt::format("{} --module {}", arguments, KORVEL_BAD_MODULE),
                   fmt::format(R"(module '{}': {} threw: out\x0aof \x1b[31morder \xff)", KORVEL_BAD_MODULE, operation),
                   fmt::format("export KORVEL_FAULT='{} throws'", operation));
  }
  // Lines before it say what the system does not grant.
  const Outcome soak = host(fmt::format("soak --cycles 2 --module {}", KORVEL_BAD_MODULE),
                            "export KORVEL_FAULT='computePartialComJacobian throws'");
  EXPECT_EQ(soak.status, 2);
  expect_has(soak.err, "computePartialComJacobian threw: ");
}

TEST_F(Modules, WhatIsNoneIsOneLine) {
  std::filesystem::create_directory(directory_ / "directory");
  ASSERT_EQ(mkfifo((directory_ / "pipe").c_str(), 0600), 0);
  write(directory_ / "empty.so", "");
  const std::string module = read(KORVEL_MODULE);
  for (const char* arguments : {"info --module {}", "run motion.csv -o results.csv --module {}",
                                "export --urdf robot.urdf --module {}", "validate {}", "validate --json {}"}) {
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
  // The loader would crash on pages that a file which was cut short does not have.
  for (std::size_t size = 4; size < module.size(); size += module.size() / 7) {
    write(directory_ / "cut.so", module.substr(0, size));
    for (const char* arguments : loading) {
      expect_refused(fmt::format(fmt::runtime(arguments), "cut.so"), "cannot load module 'cut.so': ", ":");
    }
  }
}

}  // namespace
}  // namespace korvel::host
