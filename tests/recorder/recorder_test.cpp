// Tests what the recorder leaves when its process, its disk or its file comes to an end.

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>

#include "contract/states.h"
#include "host/robot/module.h"
#include "tests/recorder/recorded.h"

namespace korvel::host {
namespace {

class Recorder : public Recorded {
 protected:
  std::uint64_t returned() const {
    std::uint64_t count = 0;
    const std::string bytes = read(directory_ / "counter");
    std::memcpy(&count, bytes.data(), std::min(bytes.size(), sizeof(count)));
    return count;
  }
  static std::uint32_t last_call(const std::filesystem::path& file) {
    std::uint32_t last = 0;
    each_call(file, [&](const RecordedCall& call) {
      if (call.header.object == 1) last = std::max(last, call.header.call);
    });
    return last;
  }
};

TEST_F(Recorder, LosesNothingWhenItsProcessIsKilled) {
  Random random(1);
  const char* kills = std::getenv("KORVEL_TEST_KILLS");
  for (int i = 0, end = kills == nullptr ? 24 : std::atoi(kills); i < end; ++i) {
    const TemporaryDirectory folder;
    setenv("KORVEL_RECORD_TO", folder.path().c_str(), 1);
    std::filesystem::remove(directory_ / "counter");
    const std::string counter = directory_ / "counter";
    const pid_t process = fork();
    if (process == 0) {
      execl(KORVEL_RECORDED_HOST, KORVEL_RECORDED_HOST, KORVEL_RECORDER, "cycles", counter.c_str(), nullptr);
      _exit(1);
    }
    usleep(static_cast<useconds_t>(2000 + random.integer() % 60000));
    kill(process, SIGKILL);
    waitpid(process, nullptr, 0);
    unsetenv("KORVEL_RECORD_TO");
    for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
      // The header is there once all of it is.
      char first = '\0';
      std::ifstream(entry.path()).get(first);
      if (std::filesystem::file_size(entry.path()) < recording::block_size || first == '\0') {
        EXPECT_EQ(returned(), 0U) << "killed before anything was recorded";
        continue;
      }
      const RecordingFile file(entry.path());
      EXPECT_FALSE(file.ended());
      // Calls that have returned, and the first one, which is `create`. The host may be faster than its disk.
      EXPECT_GE(last_call(entry.path()) + file.header().lost, returned() + (returned() > 0 ? 1 : 0));
      EXPECT_EQ(file.blocks_left_out(), 0U);
      const Outcome outcome = replay(entry.path());
      EXPECT_EQ(outcome.status, 0) << outcome.out << outcome.err;
    }
  }
}

TEST_F(Recorder, EndsWhileObjectsAreThereAndThreadsCallThem) {
  ASSERT_EQ(record("global"), 0);
  EXPECT_GE(last_call(recording()), 1 + 100 * 28);
  EXPECT_EQ(replayed(recording())["operations"]["computeInverseDynamics"]["calls"], 100);
  for (int i = 0; i < 12; ++i) {
    std::filesystem::remove(recording());
    ASSERT_EQ(record("exit counter"), 0);
    const RecordingFile file(recording());
    EXPECT_FALSE(file.ended());
    const nlohmann::json json = replayed(recording());
    EXPECT_EQ(json["blocks_left_out"], 0);
    EXPECT_GT(json["operations"]["getPose"]["compared"], 100);
  }
}

TEST_F(Recorder, HasTheCallThatAProcessEndsIn) {
  // A shell says what has become of it.
  const Outcome outcome = shell_of_host("crash 2>/dev/null");
  EXPECT_NE(outcome.status, 0);
  std::vector<std::string> names;
  std::size_t not_returned = 0;
  each_call(recording(), [&](const RecordedCall& call) {
    names.emplace_back(call.operation.name);
    not_returned += call.has_returned() ? 0U : 1U;
  });
  EXPECT_EQ(names, (std::vector<std::string>{"create", "computeFwdKinematics", "getPose"}));
  EXPECT_EQ(not_returned, 1U);
}

TEST_F(Recorder, KeepsTheLastMegabytesOnly) {
  ASSERT_EQ(record("cycles counter 5000", "KORVEL_RECORD_LIMIT=2"), 0);
  EXPECT_LE(std::filesystem::file_size(recording()), 2U << 20);
  const nlohmann::json json = replayed(recording());
  EXPECT_EQ(json["gaps"], 1);
  EXPECT_GT(json["operations"]["getJointAnglesTorque"]["compared"], 200);
  // `create`, all cycles, the end.
  EXPECT_EQ(last_call(recording()), 5000 * 28 + 2);
}

TEST_F(Recorder, TakesMemoryForWhatItHasInMemoryAlone) {
  // A terabyte: what is known of each of its blocks would have no room.
  ASSERT_EQ(record("cycles counter 100", "KORVEL_RECORD_LIMIT=1000000", "ulimit -v 400000"), 0);
  EXPECT_EQ(last_call(recording()), 100 * 28 + 2);
}

TEST_F(Recorder, GoesOnInTheBlocksOfObjectsThatAreNoMore) {
  ASSERT_EQ(record("clones 8 400"), 0);
  EXPECT_EQ(RecordingFile(recording()).header().lost, 0U);
  EXPECT_EQ(calls_in(recording())["clone"], 8U * 400U);
  // 9 bytes in 10 would be of blocks that have one computation each.
  EXPECT_LT(std::filesystem::file_size(recording()), 16U << 20);
  EXPECT_EQ(replayed(recording())["operations"]["destroy"]["calls"], 8 * 400 + 1);
}

TEST_F(Recorder, IsSavedWhenItIsMadeAndWhenItGetsLongerAndNotByWhoCalls) {
  const Outcome outcome = recorded("cycles counter 1000");
  ASSERT_EQ(outcome.status, 0);
  int others = 0;
  int main = 0;
  ASSERT_EQ(std::sscanf(outcome.out.c_str(), "%d %d", &others, &main), 2) << outcome.out;
  EXPECT_GE(others, 2);
  EXPECT_EQ(main, 0);
}

TEST_F(Recorder, HasObjectsThatCouldNotBeMade) {
#ifdef KORVEL_SANITIZED
  GTEST_SKIP() << "no allocation fails";
#endif
  ASSERT_EQ(record("scarce"), 0);
  std::map<std::string, int> made, failed;
  each_call(recording(), [&](const RecordedCall& call) {
    ++(call.has(recording::out_of_memory) ? failed : made)[call.operation.name];
  });
  // Of itself and of what the module allocates; the first create is that of the object that is cloned.
  EXPECT_GT(failed["clone"], 0);
  EXPECT_GT(failed["create"], 0);
  EXPECT_EQ(made["clone"], 1);
  EXPECT_EQ(made["destroy"], 3);
  EXPECT_EQ(replay(recording()).status, 0);
}

TEST_F(Recorder, CallsThatOverlapAreMissingAndWhatTheirObjectHoldsIsNotKnown) {
  ASSERT_EQ(record("overlapping 2"), 0);
  EXPECT_EQ(RecordingFile(recording()).header().overlapped, 1U);
  std::vector<std::uint32_t> overlapped;
  each_call(recording(), [&](const RecordedCall& call) {
    if (call.has(recording::overlapped)) overlapped.push_back(call.header.call);
  });
  // A call that is not recorded overlaps the fifth, and all that follow have the flag.
  EXPECT_EQ(overlapped, (std::vector<std::uint32_t>{5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15}));
  const nlohmann::json torques = replayed(recording())["operations"]["getJointAnglesTorque"];
  EXPECT_EQ(torques["calls"], 4);
  EXPECT_EQ(torques["compared"], 1);
  std::filesystem::remove(recording());
  // The flag stays when the calls themselves are no more, and the inputs are restated.
  ASSERT_EQ(record("overlapping 10000", "KORVEL_RECORD_LIMIT=1"), 0);
  EXPECT_EQ(last_call(recording()), 9U + 3U * 10000U);
  const nlohmann::json json = replayed(recording());
  EXPECT_GT(json["operations"]["getJointAnglesTorque"]["calls"], 100);
  EXPECT_EQ(json["operations"]["getJointAnglesTorque"]["compared"], 0);
}

TEST_F(Recorder, SaysHowMuchAFullDiskHasNoRoomFor) {
  // Two megabytes; a file that becomes longer would end the process by a signal.
  ASSERT_EQ(record("cycles counter 5000", "", "ulimit -f 2048"), 0);
  const RecordingFile file(recording());
  EXPECT_LE(std::filesystem::file_size(recording()), 2U << 20);
  EXPECT_GT(file.header().lost, 0U);
  std::size_t calls = 0;
  file.for_each([&](const RecordedCall& call) {
    if (call.header.object == 1 && !call.has(recording::restated)) ++calls;
    return true;
  });
  // The objects of which only arguments were made have a beginning and an end each.
  EXPECT_NEAR(static_cast<double>(calls + file.header().lost), 5000 * 28 + 2, 2 * 8 * 120);
  EXPECT_EQ(replay(recording()).status, 0);
}

TEST_F(Recorder, ForkedChildrenAreNotRecordedAndTheFirstSaysSo) {
  const Outcome outcome = shell_of_host("daemon 3>&1");
  EXPECT_EQ(outcome.status, 0);
  expect_one_line(outcome.err, "two children");
  expect_has(outcome.err, "its children are not recorded");
  ASSERT_EQ(recordings().size(), 1U);
  EXPECT_TRUE(RecordingFile(recording()).ended());
  // The parent calls before and after the fork, and destroys its object.
  EXPECT_GE(last_call(recording()), 1U + 2U * 28U + 1U);
  EXPECT_EQ(replay(recording()).status, 0);
}

TEST_F(Recorder, LeavesAloneWhatAHostOpensUnderTheNumberOfItsFile) {
  const Outcome outcome = shell_of_host("closing own 3>&1");
  EXPECT_EQ(outcome.status, 0);
  expect_one_line(outcome.err, "a closed descriptor");
  EXPECT_TRUE(read(directory_ / "own") == std::string(1 << 20, 'x'));
  // What was recorded before it was noticed is there, and what was not is counted.
  EXPECT_GT(replayed(recording())["operations"]["getPose"]["compared"], 0);
  EXPECT_GT(RecordingFile(recording()).header().lost, 0U);
}

// What a host sets for itself is no matter of its user, where those are not the same.
TEST_F(Recorder, NoLibraryReadsTheEnvironmentOfAPrivilegedHost) {
  const Outcome symbols = shell("nm -D --undefined-only " KORVEL_LIBRARIES);
  ASSERT_EQ(symbols.status, 0) << symbols.err;
  expect_has(symbols.out, " malloc");
  EXPECT_EQ(symbols.out.find(" getenv"), std::string::npos);
}

TEST_F(Recorder, DescribesTheModuleWhateverTheHostsLocaleAndThePathAre) {
  // A decimal comma; what else a locale has is left out, which is a warning.
  const std::string source =
      "'LC_NUMERIC\\ndecimal_point \",\"\\nthousands_sep \"\"\\ngrouping -1\\nEND LC_NUMERIC\\n'";
  shell("printf " + source + " > source; localedef -c -i source ./comma");
  ASSERT_TRUE(std::filesystem::exists(directory_ / "comma/LC_NUMERIC"));
  const std::filesystem::path folder = directory_ / "\xc3\xa9\n\xe9\xed\xa0\x80";
  std::filesystem::create_directory(folder);
  std::filesystem::copy(KORVEL_MODULE, folder / "libkorvel.so");
  ASSERT_EQ(record("motion 2", fmt::format("LOCPATH='{}' LC_NUMERIC=comma KORVEL_RECORD_MODULE='{}'",
                                           directory_.path().string(), (folder / "libkorvel.so").string())),
            0);
  EXPECT_EQ(replay(recording()).status, 0);
  const auto description = nlohmann::json::parse(RecordingFile(recording()).description());
  EXPECT_EQ(description["module"]["path"], (directory_ / "\xc3\xa9\n\\xe9\\xed\\xa0\\x80/libkorvel.so").string());
  const Module module(KORVEL_MODULE);
  const System robot = module.create();
  for (unsigned long b = 0; b < robot->getNbBodies(); ++b) {
    EXPECT_EQ(description["masses"][b].get<float>(), robot->getMass(b));
  }
}

TEST_F(Recorder, AFileIsOfItsUserAlone) {
  ASSERT_EQ(record("uneven", "", "umask 0"), 0);
  EXPECT_EQ(std::filesystem::status(recording()).permissions(),
            std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}

TEST_F(Recorder, AModuleThatMakesNothingIsAnError) {
  const std::string settings = fmt::format(
      "KORVEL_FAULT='create returns nothing' KORVEL_RECORD_MODULE='{}on_request.so'", KORVEL_FAULTY_MODULES);
  const Outcome outcome =
      shell(environment(settings) + fmt::format("'{}' run '{}/squat.csv' -o results.csv --module '{}'",
                                                KORVEL_HOST_EXECUTABLE, KORVEL_MOTIONS, KORVEL_RECORDER));
  EXPECT_EQ(outcome.status, 2);
  expect_has(outcome.err, "made no object");
}

TEST_F(Recorder, SaysOnceThatNothingIsRecordedAndHandsCallsOn) {
  for (const char* settings : {"KORVEL_RECORD_TO=", "KORVEL_RECORD_TO=/nowhere", "KORVEL_RECORD_LIMIT=-1"}) {
    const Outcome outcome = shell_of_host("operations 2", settings);
    EXPECT_EQ(outcome.status, 0) << settings;
    expect_one_line(outcome.err, settings);
  }
  EXPECT_TRUE(recordings().empty());
}

}  // namespace
}  // namespace korvel::host
