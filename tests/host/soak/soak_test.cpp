#include <nlohmann/json.hpp>

#include "tests/host/support/command.h"

namespace korvel::host {
namespace {

/// The subcommand.
class Soak : public CommandTest {
 protected:
  static void expect_adds_up(const nlohmann::json& seen) {
    const auto cycles = seen["cycles"].get<std::uint64_t>();
    const auto last = cycles + seen["overran"]["skipped"].get<std::uint64_t>();
    for (const char* part : {"latency", "computing", "both"}) {
      const nlohmann::json& times = seen[part];
      EXPECT_EQ(times["count"], cycles) << part;
      std::int64_t shorter = 1;
      for (const char* key : {"p50_ns", "p90_ns", "p99_ns", "p99_9_ns", "max_ns"}) {
        EXPECT_GE(times[key].get<std::int64_t>(), shorter) << part << ' ' << key;
        shorter = times[key].get<std::int64_t>();
      }
      const auto place = times["max_cycle"].get<std::uint64_t>();
      EXPECT_LT(place, last) << part;
      const double period = 1e-9 * seen["period_ns"].get<double>();
      EXPECT_NEAR(times["max_at_s"].get<double>(), static_cast<double>(place) * period, 1e-12) << part;
    }
    EXPECT_EQ(seen["scheduler"] == "SCHED_FIFO", seen["priority"] != 0);
    EXPECT_EQ(seen["not_granted"].get<std::string>().empty(),
              seen["memory_locked"] == true && seen["scheduler"] == "SCHED_FIFO");
  }
};

TEST_F(Soak, WhatItTellsAddsUp) {
  const std::pair<const char*, std::int64_t> periods[] = {
      {"250us", 250'000}, {"16.666667ms", 16'666'667}, {"2.5ms", 2'500'000}, {"0.001s", 1'000'000}};
  for (const auto& [text, ns] : periods) {
    const Outcome outcome = succeeded(fmt::format("soak --cycles 50 --period {} --json", text));
    const auto seen = nlohmann::json::parse(outcome.out);
    EXPECT_EQ(seen["cycles"], 50);
    EXPECT_EQ(seen["period_ns"], ns);
    EXPECT_EQ(seen["interrupted"], false);
    expect_adds_up(seen);
  }
  const Outcome outcome = succeeded("soak --cycles 20 --module '" KORVEL_PER_BODY_MODULE "'");
  for (const char* words : {"libkorvel_per_body.so: version ", "\n20 cycles of 1ms, ", "\nwake-up latency ",
                            "\ncomputation ", "\noverruns: ", "\npage faults: "}) {
    expect_has(outcome.out, words);
  }
}

// A user who may lock no memory and not go before others is told so, on one line, and gets the rest.
TEST_F(Soak, GoesOnWithoutWhatIsNotGranted) {
  const std::string poor = "ulimit -l 0; ulimit -r 0; ";
  const std::string drop = geteuid() == 0 ? "setpriv --bounding-set -sys_nice,-ipc_lock " : "";
  const Outcome outcome = shell(drop + "bash -c '" + poor + KORVEL_HOST_EXECUTABLE + " soak --cycles 20 --json'");
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  expect_one_line(outcome.err, "soak");
  EXPECT_EQ(outcome.err.find("korvel-host: warning: memory is not locked: "), 0U) << outcome.err;
  expect_has(outcome.err, "not by SCHED_FIFO: ");
  const auto seen = nlohmann::json::parse(outcome.out);
  EXPECT_EQ(seen["memory_locked"], false);
  EXPECT_EQ(seen["scheduler"], "SCHED_OTHER");
  EXPECT_EQ("korvel-host: warning: " + seen["not_granted"].get<std::string>() + '\n', outcome.err);
  expect_adds_up(seen);
}

// Told to end once it listens: the report is that of the cycles up to then.
TEST_F(Soak, AnInterruptEndsTheLoopAndNotTheReport) {
  const std::pair<const char*, const char*> signals[] = {{"INT", "[2367abef]$"}, {"TERM", "[4567cdef]...$"}};
  for (const auto& [name, caught] : signals) {
    const Outcome outcome = shell(fmt::format(
        "bash -c '\"{}\" soak --cycles 1000000000 --json & until grep -q \"^SigCgt:.*{}\" /proc/$!/status; do sleep "
        "0.01; done; kill -{} $!; wait $!'",
        KORVEL_HOST_EXECUTABLE, caught, name));
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const auto seen = nlohmann::json::parse(outcome.out);
    EXPECT_EQ(seen["interrupted"], true);
    EXPECT_LT(seen["cycles"].get<std::uint64_t>(), 1'000'000'000U);
    if (seen["cycles"] != 0) expect_adds_up(seen);
  }
}

TEST_F(Soak, UnusablePeriodsAreRefused) {
  for (const char* period : {"5", "1", "9us", "1.001s", "-1ms", "1m", "", "ms", "1e3us", "1 ms", "0x10ms", "1.0000004s",
                             "1..5ms", "nanms"}) {
    expect_refused(fmt::format("soak --period '{}'", period),
                   fmt::format("expected a time from 10us to 1s with its unit, such as 2.5ms, found '{}'", period));
  }
}

}  // namespace
}  // namespace korvel::host
