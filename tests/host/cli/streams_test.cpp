#include "tests/host/support/command.h"

namespace korvel::host {
namespace {

/// Standard streams that nobody can write to or that are not there.
class Streams : public CommandTest {
 protected:
  void SetUp() override { write(directory_ / "motion.csv", "time,HeadYaw\n0,0.123\n0.01,0.124\n0.02,0.121\n"); }

  Outcome with(const std::string& arguments, const std::string& redirection) const {
    return shell(fmt::format("'{}' {} {}", KORVEL_HOST_EXECUTABLE, arguments, redirection));
  }
};

constexpr const char* talking[] = {"--version",
                                   "--help",
                                   "run --help",
                                   "info",
                                   "info --json",
                                   "info --dot",
                                   "validate --list",
                                   "run motion.csv -o results.csv",
                                   "validate --only loading.counts",
                                   "validate --json --only loading.counts",
                                   "soak --cycles 3",
                                   "soak --cycles 3 --json"};

TEST_F(Streams, AnOutputThatCannotBeWrittenIsAFailure) {
  for (const char* arguments : talking) {
    for (const char* redirection : {">/dev/full", ">&-", ">&- <&-"}) {
      const Outcome outcome = with(arguments, redirection);
      EXPECT_EQ(outcome.status, 1) << arguments << redirection;
      const std::size_t at = outcome.err.find("cannot write to the standard output: ");
      ASSERT_NE(at, std::string::npos) << arguments << redirection << outcome.err;
      expect_one_line(outcome.err.substr(at), arguments);
    }
  }
}

// A pipe that nobody reads ends the program as it ends every other, unless the signal is ignored.
TEST_F(Streams, APipeThatNobodyReadsIsAFailure) {
  for (const char* arguments : talking) {
    const std::string command =
        fmt::format("mkfifo pipe; exec 3<>pipe 4>pipe 3<&-; rm pipe; '{}' {} >&4", KORVEL_HOST_EXECUTABLE, arguments);
    const Outcome ignored = shell("trap '' PIPE; " + command);
    EXPECT_EQ(ignored.status, 1) << arguments;
    expect_has(ignored.err, "cannot write to the standard output: Broken pipe\n");
    EXPECT_EQ(shell(command).status, 128 + SIGPIPE) << arguments;
  }
}

// The first error decides on the status, whether or not its message could be written.
TEST_F(Streams, AnErrorThatCannotBeToldKeepsItsStatus) {
  for (const char* redirection : {"2>/dev/full", "2>&-", ">&- 2>&-", "<&- >&- 2>&-"}) {
    for (const char* arguments : {"run none.csv -o results.csv", "info --module none.so", "nonsense", "--nonsense"}) {
      EXPECT_EQ(with(arguments, redirection).status, 2) << arguments << redirection;
    }
    // A doubt that nobody sees is no success.
    EXPECT_EQ(with("run motion.csv -o results.csv", redirection).status, 1) << redirection;
    EXPECT_EQ(files(), std::vector<std::string>{"motion.csv"}) << redirection;
  }
}

}  // namespace
}  // namespace korvel::host
