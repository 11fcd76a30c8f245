#include "recorder/replay/playback.h"

#include <fmt/format.h>

#include <boost/interprocess/anonymous_shared_memory.hpp>
#include <chrono>
#include <cmath>
#include <new>

#include "host/process/child_process.h"
#include "motion/csv/error.h"

namespace korvel::host {

namespace {

/// Here, up to the call of a crash that is known already.
std::string play_here(const std::filesystem::path& path, const std::filesystem::path& module, const Window& window,
                      bool shows_all_operations, const std::function<void(const RecordedCall&)>& on_call,
                      CallPosition& now, const Crash* crash) {
  const RecordingFile recording(path);
  Player player(recording, Module(module));
  recording.for_each([&](const RecordedCall& call) {
    if (call.time > window.to) return false;
    now = call.position();
    if (on_call) on_call(call);
    const bool crashes = crash != nullptr && call.offset == crash->call.offset;
    if (crashes)
      player.fail(call, crash->words);
    else
      player.play(call, call.time >= window.from);
    return !crashes;
  });
  nlohmann::json answer{{"text", player.text(shows_all_operations)}, {"json", player.json()}};
  if (player.first_difference()) answer["first"] = player.first_difference()->offset;
  return answer.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

/// Writes a recording out of another one in a process of its own, where a module may crash. Returns what `write` does.
template <typename Write>
std::size_t written(const std::filesystem::path& path, const OutputPath& to, const Write& write) {
  const auto outcome = apart([&](CallPosition&) {
    OutputFile file(to);
    const std::size_t calls = write(RecordingFile(path), file);
    file.commit();
    return std::to_string(calls);
  });
  if (const auto* crash = std::get_if<Crash>(&outcome)) throw Error(path.string() + ": not cut: " + crash->words);
  return std::stoul(std::get<std::string>(outcome));
}

}  // namespace

std::variant<std::string, Crash> apart(const std::function<std::string(CallPosition& now)>& task) {
  // There is no real limit: the user ends a call that hangs.
  constexpr std::chrono::hours limit{24 * 365};
  constexpr char good = '+';
  constexpr char bad = '-';
  constexpr char thrown = '!';
  // Both processes see this memory.
  const auto memory = boost::interprocess::anonymous_shared_memory(sizeof(CallPosition));
  auto& now = *new (memory.get_address()) CallPosition{};
  ChildProcess child(
      [&] {
        try {
          return good + task(now);
        } catch (const Error& error) {
          return bad + std::string(error.what());
        } catch (const std::exception& error) {
          return thrown + fmt::format("it threw: {}", error.what());
        }
      },
      limit);
  const ChildProcess::End end = child.wait();
  if (!end.answered) return Crash{now, end.text};
  if (end.text.front() == thrown) return Crash{now, end.text.substr(1)};
  if (end.text.front() == bad) throw Error(end.text.substr(1));
  return end.text.substr(1);
}

Error none_in(const RecordingFile& recording, const Window& window, const std::string& what) {
  const std::string none = fmt::format("{}: no {}", recording.path().string(), what);
  if (window.from <= 0 && std::isinf(window.to)) return Error(none + " is recorded");
  const std::string times = std::isinf(window.to) ? fmt::format("after {} s", window.from)
                                                  : fmt::format("from {} s to {} s", window.from, window.to);
  double last = 0;
  for_each_call(recording, {}, [&](const RecordedCall& call, bool) { last = call.time; });
  return Error("{} {}: the recording ends at {:.6f} s; choose other times", none, times, last);
}

void require_calls(const RecordingFile& recording, const Window& window) {
  bool has_call = false;
  recording.for_each([&](const RecordedCall& call) {
    has_call = !call.has(recording::restated) && call.time >= window.from && call.time <= window.to;
    return !has_call;
  });
  if (!has_call) throw none_in(recording, window, "call");
}

Playback play(const std::filesystem::path& recording, const std::filesystem::path& module, const Window& window,
              bool shows_all_operations, const std::function<void(const RecordedCall&)>& on_call) {
  const auto played = [&](const Crash* crash) {
    return apart([&, crash](CallPosition& now) {
      return play_here(recording, module, window, shows_all_operations, on_call, now, crash);
    });
  };
  auto outcome = played(nullptr);
  const std::optional<Crash> crash =
      std::holds_alternative<Crash>(outcome) ? std::optional(std::get<Crash>(outcome)) : std::nullopt;
  // Up to there it did not crash.
  if (crash) outcome = played(&*crash);
  if (!std::holds_alternative<std::string>(outcome)) {
    throw Error("{}: the module does not always crash in the same call: {}", recording.string(), crash->words);
  }
  const nlohmann::json answer = nlohmann::json::parse(std::get<std::string>(outcome));
  Playback playback{answer.at("text"), answer.at("json"), {}, crash.has_value()};
  if (answer.contains("first")) playback.first = answer["first"];
  return playback;
}

std::size_t cut(const std::filesystem::path& path, const std::filesystem::path& module, const Playback& playback,
                const OutputPath& to) {
  return written(path, to, [&](const RecordingFile& recording, OutputFile& file) {
    constexpr bool keeps_sources = true;
    Player player(recording, Module(module), keeps_sources);
    recording.for_each([&](const RecordedCall& call) {
      const bool is_last = call.offset == playback.first;
      if (is_last && playback.has_crashed) {
        player.provenance().perform(call);
      } else {
        player.play(call, false);
      }
      return !is_last;
    });
    return write_slice(recording, player.provenance().last(), file);
  });
}

std::size_t cut(const std::filesystem::path& path, const std::filesystem::path& module, const Window& window,
                const OutputPath& to) {
  return written(path, to, [&](const RecordingFile& recording, OutputFile& file) {
    return write_window(recording, Module(module), window, file);
  });
}

}  // namespace korvel::host
