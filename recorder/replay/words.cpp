#include "recorder/replay/words.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include "motion/csv/printable.h"

namespace korvel::host {

namespace {

using recording::NumberType;

std::string floats_in_words(const float* first, std::size_t count) {
  return fmt::format("{}", fmt::join(first, first + count, ", "));
}

/// An index with the name of what it stands for.
std::string index_in_words(const RecordingFile& recording, IndexKind kind, std::uint64_t index) {
  const bool of_joint = kind == IndexKind::joint;
  const std::vector<std::string>& names = of_joint ? recording.joints() : recording.bodies();
  const bool has_name = kind != IndexKind::volatile_frame && kind != IndexKind::none && index < names.size();
  return has_name ? fmt::format("{} {}", index, names[index]) : fmt::format("{}", index);
}

/// "2026-11-25 03:12:45.123 UTC".
std::string beginning(const RecordingFile& recording) {
  const std::int64_t milliseconds = recording.header().start.unix_ns / 1'000'000;
  return fmt::format("{:%F %T}.{:03} UTC", fmt::gmtime(milliseconds / 1000), milliseconds % 1000);
}

}  // namespace

std::string in_words(const RecordingFile& recording) {
  const recording::FileHeader& header = recording.header();
  std::string text = fmt::format("{}: recorded from {}\nmodule version {}, build {}\n", recording.path().string(),
                                 beginning(recording), recording.module_version(), recording.build_id());
  if (recording.header_damaged()) {
    text +=
        "the end of the header is damaged: times, and how many calls were lost or\n"
        "overlapped, are uncertain\n";
  } else if (!recording.ended()) {
    text +=
        "the recording is not closed: the process was killed, exited without deleting\n"
        "its objects, or is still running\n";
  }
  if (recording.blocks_left_out() > 0)
    text += fmt::format("{} of calls incomplete\n", counted(recording.blocks_left_out(), "block"));
  if (header.lost > 0) {
    text +=
        fmt::format("{} not recorded: the disk was full, or slower than the program\n", counted(header.lost, "call"));
  }
  if (header.overlapped > 0) {
    text += fmt::format("{} overlapped another call of the same object, which is not allowed\n",
                        counted(header.overlapped, "call"));
  }
  return text;
}

nlohmann::json in_json(const RecordingFile& recording) {
  return {{"recording", recording.path().string()},
          {"begun", beginning(recording)},
          {"recorded_version", recording.module_version()},
          {"recorded_build_id", recording.build_id()},
          {"ended", recording.ended()},
          {"header_damaged", recording.header_damaged()},
          {"blocks_left_out", recording.blocks_left_out()},
          {"not_recorded", recording.header().lost},
          {"overlapped", recording.header().overlapped}};
}

std::string call_in_words(const RecordingFile& recording, const RecordedCall& call) {
  const recording::OperationEntry& e = call.operation;
  const char* at = call.arguments;
  std::string text;
  bool is_index = e.index != IndexKind::none && e.index != IndexKind::root;
  for (const recording::Shape& shape : e.arguments) {
    const std::size_t bytes = shape.bytes(recording.size());
    if (shape.type == NumberType::none) break;
    if (!text.empty()) text += "; ";
    if (shape.type == NumberType::text) {
      text += fmt::format("\"{}\"", recording::take<std::string>(at, bytes));
    } else if (shape.type == NumberType::index) {
      const auto value = recording::take<std::uint64_t>(at, bytes);
      text += is_index ? index_in_words(recording, e.index, value) : fmt::format("{}", value);
      is_index = false;
    } else {
      const auto values = recording::take<std::vector<float>>(at, bytes);
      text += floats_in_words(values.data(), values.size());
    }
    at += bytes;
  }
  return fmt::format("{}({})", e.name, text);
}

std::string in_words(const CallPosition& position) {
  return fmt::format("call {} of object {}, {:.6f} s, byte {}", position.call, position.object, position.time,
                     position.offset);
}

std::string inputs_in_words(const tesk::RigidBodySystem& robot) {
  const auto view = [](const tesk::FloatRange& range) { return floats_in_words(range.first, range.size()); };
  const auto six = [](const QZ::Math::Velocity6D& v) { return floats_in_words(&v.x, 6); };
  return fmt::format(
      "root pose          {}\nroot velocity      {}\nroot acceleration  {}\njoint angles       {}\njoint velocities   "
      "{}\njoint accelerations {}\n",
      floats_in_words(&robot.getRootPose().r00, 12), six(robot.getRootVelocity()), six(robot.getRootAcceleration()),
      view(robot.getJointAnglesPos()), view(robot.getJointAnglesVel()), view(robot.getJointAnglesAcc()));
}

std::string number_in_words(const RecordingFile& recording, const RecordedCall& call, std::size_t place) {
  auto rest = static_cast<std::ptrdiff_t>(place);
  for (const Result result : written_by(call.operation.stages)) {
    const ResultEntry& shown = entry(result);
    const int length = shown.length(recording.size());
    if (rest < shown.numbers(recording.size())) {
      return fmt::format(fmt::runtime(shown.number), rest % length, rest / length);
    }
    rest -= shown.numbers(recording.size());
  }
  return fmt::format("number {} of the result", place);
}

}  // namespace korvel::host
