// A part that is cut out of a recording is a recording of its own.

#include "contract/operations.h"
#include "tests/recorder/recorded.h"

namespace korvel::host {
namespace {

class Part : public Recorded {
 protected:
  /// Object, call and time of each call from one time to another.
  static std::vector<std::array<std::uint64_t, 4>> calls(const std::filesystem::path& file, double from, double to) {
    std::vector<std::array<std::uint64_t, 4>> all;
    each_call(file, [&](const RecordedCall& call) {
      const auto& [header, operation, arguments, result, time, took, offset, certain] = call;
      if (!call.has(recording::restated) && time >= from && time <= to) {
        all.push_back({header.object, header.call, header.ticks, header.result});
      }
    });
    return all;
  }

  /// Times of calls at these shares of all calls.
  static std::vector<double> times(const std::filesystem::path& file, const std::vector<double>& shares) {
    std::vector<double> all;
    each_call(file, [&](const RecordedCall& call) { all.push_back(call.time); });
    std::vector<double> found;
    for (const double share : shares) {
      found.push_back(all.at(static_cast<std::size_t>(share * static_cast<double>(all.size() - 1))));
    }
    return found;
  }
};

// Objects that were made before it, clones of them and inertias that were set before are as they were.
TEST_F(Part, HasTheCallsOfItsTimeAndReplaysWithoutADifference) {
  const std::string faulty = fmt::format("--module '{}on_request.so'", KORVEL_FAULTY_MODULES);
  const std::string ring = "KORVEL_RECORD_LIMIT=1";
  for (const auto& [host, settings] : std::map<std::string, std::string>{{"operations 1", ""},
                                                                         {"operations 3", ""},
                                                                         {"cycles counter 2000", ""},
                                                                         {"cycles counter 5000", ring},
                                                                         {"motion 60", ""},
                                                                         {"clones 100 4", ""}}) {
    SCOPED_TRACE(host);
    ASSERT_EQ(record(host, settings), 0);
    stretch(recording());
    const std::vector<double> at = times(recording(), {0, 0.3, 0.55, 0.8, 1});
    for (std::size_t i = 0; i + 1 < at.size(); ++i) {
      const std::string window = fmt::format("--from {:.17g} --to {:.17g}", at[i], at[i + 1]);
      ASSERT_EQ(replay(recording(), "--cut part.rec " + window).status, 0);
      EXPECT_EQ(calls(directory_ / "part.rec", 0, 1e9), calls(recording(), at[i], at[i + 1]));
      const auto compared = [](const nlohmann::json& json) {
        std::size_t all = 0;
        for (const auto& operation : json["operations"]) all += operation["compared"].get<std::size_t>();
        return all;
      };
      // Results that were computed before and are only read cannot be compared.
      EXPECT_GE(compared(replayed(directory_ / "part.rec")), compared(replayed(recording(), window)) * 8 / 10);
      const auto rate = [&](const std::filesystem::path& file) -> double {
        return replayed(file, "--stats")["statistics"]["megabytes_per_minute"];
      };
      EXPECT_DOUBLE_EQ(rate(directory_ / "part.rec"), rate(recording())) << "that of the whole";
    }
    std::filesystem::remove(recording());
  }
  ASSERT_EQ(record("cycles counter 500"), 0);
  const std::vector<double> at = times(recording(), {0.5, 0.9});
  ASSERT_EQ(replay(recording(), fmt::format("--cut part.rec --from {} --to {}", at[0], at[1])).status, 0);
  EXPECT_EQ(replay("part.rec", faulty, "export KORVEL_FAULT='centre of mass is off'").status, 1);
}

// The end of the window may be given alone, or its beginning.
TEST_F(Part, IsOpenWhereNoTimeIsGiven) {
  ASSERT_EQ(record("motion 20"), 0);
  const double middle = times(recording(), {0.5}).front();
  ASSERT_EQ(replay(recording(), fmt::format("--cut first.rec --to {:.17g}", middle)).status, 0);
  EXPECT_EQ(calls(directory_ / "first.rec", 0, 1e9), calls(recording(), 0, middle));
  ASSERT_EQ(replay(recording(), fmt::format("--cut last.rec --from {:.17g}", middle)).status, 0);
  EXPECT_EQ(calls(directory_ / "last.rec", 0, 1e9), calls(recording(), middle, 1e9));
  ASSERT_EQ(replay(recording(), "--cut all.rec --from 0").status, 0);
  EXPECT_EQ(calls(directory_ / "all.rec", 0, 1e9), calls(recording(), 0, 1e9));
  EXPECT_EQ(replayed(directory_ / "all.rec")["gaps"], 0);
}

TEST_F(Part, IsNotWrittenForTimesWithoutCallsOrWithoutADifference) {
  ASSERT_EQ(record("motion 5"), 0);
  write(directory_ / "cut.rec", "as before");
  const double end = times(recording(), {1}).front();
  const std::string ends = fmt::format("the recording ends at {:.6f} s", end);
  const std::pair<const char*, std::string> cases[] = {
      {"--from 1e9", recording().string() + ": no call after 1000000000 s: " + ends + "; choose other times"},
      {"--from -2 --to -1", "no call from -2 s to -1 s: " + ends},
      {"--from 1e-12 --to 2e-12", "no call from 1e-12 s to 2e-12 s: " + ends},
      {"--from 2 --to 1", "--from 2 --to 1: expected an end after the beginning"},
      {"--from 0.001 --to 0.001", "expected an end after the beginning"},
      {"--to -1", "--from 0 --to -1: expected an end after the beginning"},
      {"--from nan", "--from: expected a number, found 'nan'"},
      {"--to inf", "--to: expected a number, found 'inf'"},
      {"--from 1e999", "--from: expected a number"},
      {"--from ''", "--from: expected a number"}};
  for (const auto& [window, words] : cases) {
    for (const char* what : {"--cut cut.rec ", "--csv motion.csv ", "--results results.csv ", "--stats ", ""}) {
      expect_refused(fmt::format("replay '{}' {}{}", recording().string(), what, window), words);
    }
  }
  const Outcome outcome = replay(recording(), "--cut cut.rec");
  EXPECT_EQ(outcome.status, 1);
  expect_has(outcome.out, "did not write cut.rec: no result differs");
  EXPECT_EQ(read(directory_ / "cut.rec"), "as before");
  EXPECT_EQ(files(), std::vector<std::string>{"cut.rec"});
}

// The one whose object has most calls, with a note and without those that are none.
TEST_F(Part, OfSeveralRecordingsOneIsTaken) {
  for (const char* host : {"motion 9", "motion 30", "uneven", "motion 12"}) ASSERT_EQ(record(host), 0);
  write(directory_ / "text.rec", "none");
  std::string all = "text.rec";
  std::filesystem::path busiest;
  std::size_t most = 0;
  for (const std::filesystem::path& file : recordings()) {
    all += " '" + file.string() + '\'';
    if (calls(file, 0, 1e9).size() < most) continue;
    most = calls(file, 0, 1e9).size();
    busiest = file;
  }
  for (const auto& [option, written] : {std::pair("--results", "results.csv"), {"--csv", "motion.csv"}}) {
    const Outcome outcome = host(fmt::format("replay {} {} {}", all, option, written));
    EXPECT_EQ(outcome.status, 2) << "as without the option";
    expect_has(outcome.err, "1 of 5 recordings are unusable\n");
    expect_has(outcome.err,
               fmt::format("taking {} of 5 recordings: its object 1 has the most calls, {}\n", busiest.string(), most));
    EXPECT_EQ(columns_in(written).at("time").size(), 2002U) << "the computations of uneven";
  }
  EXPECT_EQ(host("replay text.rec text.rec --csv motion.csv").status, 2);
}

TEST_F(Part, OfSeveralRecordingsTheOneWithMostCallsOfTheChosenObjectIsTaken) {
  ASSERT_EQ(record("clones 1 5"), 0);
  const std::filesystem::path clones = recording();
  ASSERT_EQ(record("motion 30"), 0);
  std::string both;
  for (const std::filesystem::path& file : recordings()) both += '\'' + file.string() + "' ";
  for (const char* option : {"--csv motion.csv", "--results results.csv", "--cut part.rec --from 0"}) {
    const Outcome outcome = succeeded(fmt::format("replay {} {} --object 2", both, option));
    expect_has(outcome.err, "taking " + clones.string() + " of 2 recordings: its object 2 has the most calls, ");
  }
}

// The first difference may be in any, and statistics of one would pass for those of all.
TEST_F(Part, OfSeveralRecordingsNoDifferenceIsCutAndNoneIsCounted) {
  for (const char* host : {"motion 9", "motion 3"}) ASSERT_EQ(record(host), 0);
  std::string both;
  for (const std::filesystem::path& file : recordings()) both += '\'' + file.string() + "' ";
  const std::pair<const char*, const char*> cases[] = {
      {"--cut x.rec", "--cut without --from or --to: expected one recording, found 2"},
      {"--cut x.rec --csv x.csv", "--cut without --from or --to: expected one recording, found 2"},
      {"--stats --cut x.rec --from 0", "--stats with --cut, --csv or --results: expected one recording, found 2"},
      {"--stats --csv x.csv", "--stats with --cut, --csv or --results: expected one recording, found 2"},
      {"--stats --results x.csv", "--stats with --cut, --csv or --results: expected one recording, found 2"}};
  for (const auto& [options, words] : cases) {
    expect_refused(fmt::format("replay {} {}", both, options), words);
  }
}

}  // namespace
}  // namespace korvel::host
