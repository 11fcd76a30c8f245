// Counts and times of calls, and what a program has done wrong.

#include "tests/recorder/recorded.h"

namespace korvel::host {
namespace {

class StatisticsOfARecording : public Recorded {};

TEST_F(StatisticsOfARecording, TellWhatTheContractDoesNotAllow) {
  ASSERT_EQ(record("mistakes"), 0);
  const nlohmann::json statistics = replayed(recording(), "--stats")["statistics"];
  std::map<std::string, int> remarks;
  for (const nlohmann::json& remark : statistics["remarks"]) remarks[remark["what"]] = remark["count"];
  const std::map<std::string, int> expected{{"reads of what has not been computed yet", 1},
                                            {"arguments that are not finite", 1},
                                            {"results that are not finite", 2},
                                            {"calls that threw", 1}};
  EXPECT_EQ(remarks, expected);
  EXPECT_EQ(statistics["operations"]["getJointAngleTorque"]["count"], 2);
}

// The longest cycle is where it begins, and the last one, in which a process may have ended, is one as well.
TEST_F(StatisticsOfARecording, FindTheLongestCycle) {
  ASSERT_EQ(record("uneven"), 0);
  const nlohmann::json json = replayed(recording(), "--stats");
  const nlohmann::json& cycle = json["statistics"]["cycle"];
  EXPECT_EQ(cycle["count"], 3);
  EXPECT_EQ(cycle["longest_at"].get<std::string>().substr(0, 19), "call 4 of object 1,");
  // Calls before a window are no loss, and known of.
  const RecordingFile file(recording());
  double middle = 0;
  file.for_each([&](const RecordedCall& call) {
    middle = call.time;
    return call.header.call < 1000;
  });
  const std::string span = fmt::format("--stats --from {:.9f}", middle);
  const nlohmann::json part = replayed(recording(), span)["statistics"];
  EXPECT_EQ(part["missing"], 0);
  EXPECT_TRUE(part["remarks"].empty()) << part["remarks"];
  EXPECT_NEAR(part["calls"].get<int>(), 2007 - 1000, 2);
}

// Whatever else is set in it or before the first one.
TEST_F(StatisticsOfARecording, ACycleBeginsWithTheSetterThatBeginsTheFirstOne) {
  ASSERT_EQ(record("stages 60"), 0);
  const nlohmann::json statistics = replayed(recording(), "--stats")["statistics"];
  EXPECT_EQ(statistics["cycle"]["count"], 60);
  EXPECT_EQ(statistics["from_cycle_to_cycle"]["count"], 59);
  // The fourth one is long; each of those before has six calls, and the object two before the first.
  const std::string longest = statistics["cycle"]["longest_at"];
  EXPECT_EQ(longest.substr(0, longest.find(',')), fmt::format("call {} of object 1", 2 + 3 * 6 + 1));
  EXPECT_GE(statistics["cycle"]["longest"].get<double>(),
            5000 * statistics["operations"]["computeFwdKinematics"]["p50"].get<double>() / 2);
  expect_has(replay(recording(), "--stats").out, "\nA cycle begins with setJointAnglesPos.\n");
}

// Also where new blocks have replaced older ones. A short recording has whole blocks as well, and would seem to grow
// fast.
TEST_F(StatisticsOfARecording, TellHowFastAFileGrows) {
  for (const char* limit : {"", "KORVEL_RECORD_LIMIT=1"}) {
    ASSERT_EQ(record("cycles counter 20000", limit), 0);
    std::size_t bytes = 0;
    std::size_t count = 0;
    std::uint32_t last_call = 0;
    double last = 0;
    each_call(recording(), [&](const RecordedCall& call) {
      if (call.header.object != 1) return;
      bytes += call.header.size;
      count += call.has(recording::restated) ? 0U : 1U;
      last_call = call.header.call;
      last = call.time;
    });
    // On a busy machine the calls may take longer than the ten seconds from which on the figure is shown.
    EXPECT_EQ(replay(recording(), "--stats").out.find("MB a minute") == std::string::npos, last < 10);
    EXPECT_EQ(replayed(recording(), "--stats")["statistics"].contains("megabytes_per_minute"), last >= 10);
    stretch(recording());
    const double megabytes = static_cast<double>(bytes) / static_cast<double>(count) * last_call / (1 << 20);
    const nlohmann::json statistics = replayed(recording(), "--stats")["statistics"];
    EXPECT_NEAR(statistics["megabytes_per_minute"].get<double>() * last * stretched / 60 / megabytes, 1, 0.25) << limit;
    expect_has(replay(recording(), "--stats").out, " MB a minute, for the choice of KORVEL_RECORD_LIMIT\n");
    std::filesystem::remove(recording());
  }
}

}  // namespace
}  // namespace korvel::host
