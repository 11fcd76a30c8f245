// Recordings as files: what former releases have written, what is damaged, what cannot be right.

#include <cstring>

#include "tests/recorder/damage.h"
#include "tests/recorder/recorded.h"

namespace korvel::host {
namespace {

class Format : public Recorded {};

/// Recordings that were made with version 1 of the format, and the results that were made of one of them then.
TEST_F(Format, ARecordingOfTheFirstVersionReplaysAsBefore) {
  const std::filesystem::path data = KORVEL_RECORDINGS;
  std::size_t compared = 0;
  const nlohmann::json json = replayed(data / "operations.rec");
  for (const auto& [operation, count] : json["operations"].items()) {
    compared += count["compared"].get<std::size_t>();
  }
  EXPECT_EQ(compared, 3716U);
  ASSERT_EQ(replay(data / "motion.rec", "--results results.csv").status, 0);
  std::filesystem::copy(data / "motion.csv", directory_ / "before.csv");
  auto before = columns_in<double>("before.csv");
  auto results = columns_in<double>("results.csv");
  const std::vector<double> time = results.extract("time").mapped();
  const std::vector<double> time_before = before.extract("time").mapped();
  // Results have more columns now.
  for (const auto& [name, column] : before) EXPECT_EQ(results.at(name), column) << name;
  // Torques were told at the time of the kinematics before them.
  ASSERT_EQ(time.size(), time_before.size());
  for (std::size_t i = 0; i < time.size(); ++i) EXPECT_NEAR(time[i], time_before[i], 1e-3) << "row " << i;
}

// Recorders once wrote such text under a locale with a decimal comma, or for a path that is not UTF-8.
TEST_F(Format, AMemberOfTheDescriptionThatCannotBeParsedTakesNoOtherWithIt) {
  ASSERT_EQ(record("uneven"), 0);
  std::string bytes = read(recording());
  for (const std::string member : {"{\"path\":\"/", "\"masses\":[1."}) {
    ASSERT_NE(bytes.find(member), std::string::npos) << member;
    bytes[bytes.find(member) + member.size() - 1] = member.back() == '.' ? ',' : '\xff';
  }
  seal(bytes);
  write(directory_ / "odd.rec", bytes);
  EXPECT_EQ(replayed("odd.rec")["operations"]["computeFwdKinematics"]["calls"], 2002);
  EXPECT_EQ(replayed("odd.rec", "--stats")["recorded_version"], "unknown");
}

// The memory of a process that reads a file is bounded by the size of the file.
TEST_F(Format, MoreObjectsThanARecorderHasBlocksForAreAnError) {
  ASSERT_EQ(record("uneven"), 0);
  std::string bytes = read(recording()).substr(0, recording::block_size);
  recording::RecordHeader create{};
  create.size = sizeof(create);
  create.ticks = RecordingFile(recording()).header().start.ticks;
  for (std::uint64_t number = 1; create.object < 64000; ++number) {
    std::string records;
    while (records.size() + sizeof(create) <= recording::records_per_block) {
      ++create.object;
      create.call = 1;
      ++create.ticks;
      records.append(reinterpret_cast<const char*>(&create), sizeof(create));
      ++create.shared_changes;
    }
    recording::BlockHeader block{recording::block_magic, 1, number, create.ticks, records.size(), records.size(), {}};
    records.insert(0, reinterpret_cast<const char*>(&block), sizeof(block));
    records.resize(recording::block_size);
    bytes += records;
  }
  seal(bytes);
  write(directory_ / "crafted.rec", bytes);
  expect_refused("replay crafted.rec", "objects at a time in ");
}

TEST_F(Format, ANumberOfACallThatGoesBackIsNoLoss) {
  ASSERT_EQ(record("uneven"), 0);
  std::string bytes = read(recording());
  each_call(recording(), [&](const RecordedCall& call) {
    const std::uint32_t earlier = 500;
    if (call.header.call == 1000) {
      std::memcpy(&bytes[call.offset + offsetof(recording::RecordHeader, call)], &earlier, sizeof(earlier));
    }
  });
  seal(bytes);
  write(directory_ / "back.rec", bytes);
  EXPECT_EQ(replayed("back.rec", "--stats")["statistics"]["missing"], 1000 - 500);
}

// A recorder writes the end of the header last, when it closes the recording.
TEST_F(Format, ARecordingWithADamagedEndOfItsHeaderIsReadAsOneThatWasNotClosed) {
  ASSERT_EQ(record("uneven"), 0);
  const std::string whole = read(recording());
  const std::filesystem::path damaged = directory_ / "damaged.rec";
  using recording::FileHeader;
  for (std::size_t at = offsetof(FileHeader, last); at < sizeof(FileHeader); at += sizeof(std::uint64_t)) {
    std::string bytes = whole;
    bytes[at + 1] = static_cast<char>(bytes[at + 1] ^ 1);
    write(damaged, bytes);
    if (at == offsetof(FileHeader, start_checksum)) {
      EXPECT_EQ(replay(damaged).status, 2) << "the beginning of the header is not certain";
      continue;
    }
    const nlohmann::json json = replayed(damaged);
    EXPECT_EQ(json["ended"], false) << at;
    EXPECT_EQ(json["header_damaged"], true) << at;
    EXPECT_EQ(json["operations"]["computeFwdKinematics"]["compared"],
              replayed(recording())["operations"]["computeFwdKinematics"]["compared"])
        << at;
  }
}

/// Returns whether a byte has a meaning: in the header and its text, or in a block's header and its records.
bool says_something(const std::string& bytes, std::size_t at) {
  const std::size_t in_block = at % recording::block_size;
  if (at < recording::block_size) {
    std::uint32_t text_size = 0;
    std::memcpy(&text_size, bytes.data() + offsetof(recording::FileHeader, text_size), sizeof(text_size));
    return in_block < sizeof(recording::FileHeader) + text_size;
  }
  recording::BlockHeader block;
  std::memcpy(&block, bytes.data() + at - in_block, sizeof(block));
  // How many records there are is told twice, and of the two checks one is older or not there.
  return in_block < offsetof(recording::BlockHeader, complete) ||
         (in_block >= sizeof(block) && in_block < sizeof(block) + block.complete);
}

TEST_F(Format, NoDamageOfAFileGoesUnnoticedOrDoesHarm) {
  ASSERT_EQ(record("operations 1"), 0);
  const std::string whole = read(recording());
  const std::filesystem::path damaged = directory_ / "damaged";
  const std::string not_closed = damaged.string() + ": byte 0: the recording was not closed";
  const auto error_of = [&]() -> std::string {
    try {
      const RecordingFile file(damaged);
      file.for_each([](const RecordedCall&) { return true; });
      if (!file.ended()) return not_closed;
    } catch (const Error& error) {
      return error.what();
    }
    return {};
  };
  write(damaged, whole);
  ASSERT_EQ(error_of(), "");
  Damager damager(2);
  std::size_t noticed = 0;
  for (int i = 0; i < 1000; ++i) {
    std::string bytes = whole;
    damager.damage(bytes);
    bool must_be_noticed = bytes.size() != whole.size();
    for (std::size_t at = 0; at < whole.size() && !must_be_noticed; ++at) {
      must_be_noticed = bytes[at] != whole[at] && says_something(whole, at);
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
