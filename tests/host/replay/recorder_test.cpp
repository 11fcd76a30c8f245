// What the recorder leaves when its process, its disk or its file comes to an end.

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <set>

#include "states/states.h"
#include "tests/host/replay/recorded.h"

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
    RecordingFile(file).for_each([&](const RecordedCall& call) {
      if (call.header.object == 1) last = std::max(last, call.header.call);
      return true;
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
  const Outcome outcome =
      shell(environment("") + fmt::format("'{}' '{}' crash 2>/dev/null", KORVEL_RECORDED_HOST, KORVEL_RECORDER));
  EXPECT_NE(outcome.status, 0);
  std::vector<std::string> names;
  std::size_t not_returned = 0;
  RecordingFile(recording()).for_each([&](const RecordedCall& call) {
    names.emplace_back(call.operation.name);
    not_returned += call.has_returned() ? 0U : 1U;
    return true;
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
  RecordingFile(recording()).for_each([&](const RecordedCall& call) {
    ++(call.has(recording::out_of_memory) ? failed : made)[call.operation.name];
    return true;
  });
  // Of itself and of what the module allocates; the first create is that of the object that is cloned.
  EXPECT_GT(failed["clone"], 0);
  EXPECT_GT(failed["create"], 0);
  EXPECT_EQ(made["clone"], 1);
  EXPECT_EQ(made["destroy"], 3);
  EXPECT_EQ(replay(recording()).status, 0);
}

TEST_F(Recorder, CallsThatOverlapAreMissingAndWhatTheyHaveSetIsNotKnown) {
  ASSERT_EQ(record("overlapping 2"), 0);
  EXPECT_EQ(RecordingFile(recording()).header().overlapped, 1U);
  std::vector<std::uint32_t> numbers, overlapped;
  RecordingFile(recording()).for_each([&](const RecordedCall& call) {
    numbers.push_back(call.header.call);
    if (call.has(recording::overlapped)) overlapped.push_back(call.header.call);
    return true;
  });
  // The fifth call is overlapped by the sixth, which ends between the ninth and the tenth.
  EXPECT_EQ(overlapped, (std::vector<std::uint32_t>{5, 7, 8, 9, 10}));
  EXPECT_EQ(numbers, (std::vector<std::uint32_t>{1, 2, 3, 4, 5, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}));
  EXPECT_EQ(replayed(recording())["operations"]["getJointAnglesTorque"]["compared"], 1);
  std::filesystem::remove(recording());
  // Nor when the calls themselves are no more, and the inputs are restated.
  ASSERT_EQ(record("overlapping 10000", "KORVEL_RECORD_LIMIT=1"), 0);
  EXPECT_EQ(last_call(recording()), 10U + 3U * 10000U);
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

TEST_F(Recorder, BothProcessesOfAForkHaveAFile) {
  ASSERT_EQ(record("fork"), 0);
  ASSERT_EQ(recordings().size(), 2U);
  std::set<std::uint32_t> processes;
  for (const std::filesystem::path& file : recordings()) {
    processes.insert(RecordingFile(file).header().process);
    EXPECT_GT(replayed(file)["operations"]["getPose"]["compared"], 1000);
    EXPECT_GE(last_call(file), 1 + 201 * 28);
  }
  EXPECT_EQ(processes.size(), 2U);
}

TEST_F(Recorder, AChildIsRecordedWhereverItIsFromItsFirstCallOn) {
  // The folder is relative; the shell is in it.
  ASSERT_EQ(record("daemon", "KORVEL_RECORD_TO=.", "cd " + recordings_.path().string()), 0);
  // None of the child that never calls.
  ASSERT_EQ(recordings().size(), 2U);
  std::map<std::uint32_t, std::filesystem::path> by_last_call;
  for (const std::filesystem::path& path : recordings()) by_last_call[last_call(path)] = path;
  ASSERT_EQ(by_last_call.size(), 2U);
  const auto& [last_of_parent, parent] = *by_last_call.begin();
  const auto& [last_of_child, child] = *by_last_call.rbegin();
  // Each destroys the object.
  EXPECT_EQ(last_of_child, last_of_parent + 200 * 28);
  const RecordingFile file(child);
  EXPECT_TRUE(file.ended());
  EXPECT_GT(file.header().lost, 0U);
  std::size_t calls = 0;
  for (const auto& [name, count] : calls_in(child)) calls += count;
  EXPECT_EQ(calls + file.header().lost, 200U * 28U + 1U);
}

TEST_F(Recorder, SaysOnceThatNothingIsRecordedAndHandsCallsOn) {
  for (const char* settings : {"KORVEL_RECORD_TO=", "KORVEL_RECORD_TO=/nowhere", "KORVEL_RECORD_LIMIT=-1"}) {
    const Outcome outcome =
        shell(environment(settings) + fmt::format("'{}' '{}' operations 2", KORVEL_RECORDED_HOST, KORVEL_RECORDER));
    EXPECT_EQ(outcome.status, 0) << settings;
    expect_one_line(outcome.err, settings);
  }
  EXPECT_TRUE(recordings().empty());
}

/// Whether a byte says something: of the header and its text, of a block's header and its records.
bool says_something(const std::string& bytes, std::size_t at) {
  const std::size_t in_block = at % recording::block_size;
  if (at < recording::block_size) {
    std::uint32_t text_size = 0;
    std::memcpy(&text_size, bytes.data() + offsetof(recording::FileHeader, text_size), sizeof(text_size));
    // Clocks and counters have no checksum.
    const bool is_clock =
        in_block >= offsetof(recording::FileHeader, process) && in_block < offsetof(recording::FileHeader, ended);
    return !is_clock && in_block < sizeof(recording::FileHeader) + text_size;
  }
  recording::BlockHeader block;
  std::memcpy(&block, bytes.data() + at - in_block, sizeof(block));
  // The check that is older, or not there, says nothing.
  return in_block >= sizeof(block) && in_block < sizeof(block) + block.complete;
}

TEST_F(Recorder, NoDamageOfAFileGoesUnnoticedOrDoesHarm) {
  ASSERT_EQ(record("operations 1"), 0);
  const std::string whole = read(recording());
  const std::filesystem::path damaged = directory_ / "damaged";
  Random random(2);
  const auto below = [&](std::size_t bound) { return random.integer() % bound; };
  const auto error_of = [&]() -> std::string {
    try {
      RecordingFile(damaged).for_each([](const RecordedCall&) { return true; });
    } catch (const Error& error) {
      return error.what();
    }
    return {};
  };
  write(damaged, whole);
  ASSERT_EQ(error_of(), "");
  std::size_t noticed = 0;
  for (int i = 0; i < 1000; ++i) {
    std::string bytes = whole;
    bool must_be_noticed = true;
    switch (i % 4) {
      case 0: {  // a bit
        const std::size_t at = below(bytes.size());
        bytes[at] = static_cast<char>(bytes[at] ^ (1 << below(8)));
        must_be_noticed = says_something(whole, at);
        break;
      }
      case 1:  // the end is missing
        bytes.resize(below(bytes.size()));
        break;
      case 2: {  // a block twice
        const std::size_t blocks = bytes.size() / recording::block_size;
        const std::string block = bytes.substr(recording::block_size * (1 + below(blocks - 1)), recording::block_size);
        bytes += block;
        break;
      }
      default: {  // a length anywhere in the records
        const std::size_t at =
            (recording::block_size + below(bytes.size() - recording::block_size - 8)) & ~std::size_t{7};
        const std::uint64_t length = random.integer() >> below(64);
        must_be_noticed = says_something(whole, at) && std::memcmp(&bytes[at], &length, sizeof(length)) != 0;
        std::memcpy(&bytes[at], &length, sizeof(length));
      }
    }
    write(damaged, bytes);
    const std::string error = error_of();
    if (must_be_noticed) {
      EXPECT_NE(error, "") << "damage " << i;
    }
    if (error.empty()) continue;
    ++noticed;
    EXPECT_EQ(error.find(damaged.string() + ": byte "), 0U) << error;
    EXPECT_EQ(error, printable(error));
  }
  EXPECT_GT(noticed, 600U);
}

}  // namespace
}  // namespace korvel::host
