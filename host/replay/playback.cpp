#include "host/replay/playback.h"

#include <fmt/format.h>

#include "host/replay/apart.h"
#include "host/replay/player.h"
#include "host/replay/slice.h"
#include "host/replay/words.h"

namespace korvel::host {

namespace {

/// What is counted while a recording is played.
struct Counts {
  std::optional<Difference> first;
  std::uint64_t first_at = 0;
  std::string last_call;  ///< one that did not return
};

Played sum_of(const Player& player) {
  Played all;
  for (const Played& p : player.played()) {
    all.calls += p.calls;
    all.compared += p.compared;
    all.different += p.different;
  }
  return all;
}

std::string in_words(const RecordingFile& recording, const Player& player, const Counts& counts) {
  std::string text = in_words(recording);
  if (!counts.last_call.empty()) text += fmt::format("did not return: {}\n", counts.last_call);
  if (player.gaps() > 0) text += fmt::format("calls are missing in {} places\n", player.gaps());
  if (player.not_comparable() > 0) {
    text +=
        fmt::format("{} results could not be compared: what they depend on is not known\n", player.not_comparable());
  }
  if (player.not_performed() > 0) {
    text += fmt::format("{} calls that the contract does not allow or that did not return were not performed\n",
                        player.not_performed());
  }
  if (counts.first) {
    const Difference& d = *counts.first;
    text += fmt::format("\nFirst difference: {}\n{}\n{}\n\n{}\n", d.where, d.call, d.results, d.inputs);
  }
  text += fmt::format("{:<34}{:>12}{:>12}{:>12}\n", "operation", "calls", "compared", "different");
  for (std::size_t i = 0; i < player.played().size(); ++i) {
    const Played& p = player.played()[i];
    if (p.calls == 0) continue;
    text += fmt::format("{:<34}{:>12}{:>12}{:>12}\n", recording::all_operations()[i].name, p.calls, p.compared,
                        p.different);
  }
  const Played all = sum_of(player);
  const std::size_t different = all.different + (counts.first && all.different == 0 ? 1 : 0);
  return text + fmt::format("{} calls, {} results compared, {}\n", all.calls, all.compared,
                            different > 0      ? fmt::format("{} differ", different)
                            : all.compared > 0 ? "no difference"
                                               : "nothing could be said");
}

nlohmann::json in_json(const RecordingFile& recording, const Player& player, const Counts& counts) {
  nlohmann::json operations = nlohmann::json::object();
  for (std::size_t i = 0; i < player.played().size(); ++i) {
    const Played& p = player.played()[i];
    if (p.calls == 0) continue;
    operations[recording::all_operations()[i].name] = {
        {"calls", p.calls}, {"compared", p.compared}, {"different", p.different}};
  }
  nlohmann::json json = in_json(recording);
  json.update({{"gaps", player.gaps()},
               {"not_performed", player.not_performed()},
               {"not_comparable", player.not_comparable()},
               {"operations", operations}});
  if (counts.first) {
    const Difference& d = *counts.first;
    json["first_difference"] = {{"where", d.where}, {"call", d.call}, {"inputs", d.inputs}, {"results", d.results}};
  }
  return json;
}

/// Here, up to the call of a crash that is known already.
std::string play_here(const std::filesystem::path& path, const std::filesystem::path& module, const Window& window,
                      Place& now, const Crash* crash) {
  const RecordingFile recording(path);
  Player player(recording, Module(module));
  Counts counts;
  recording.for_each([&](const RecordedCall& call) {
    if (call.time > window.to) return false;
    now = call.place();
    if (!call.has_returned()) counts.last_call = in_words(call.place()) + ": " + call_in_words(recording, call);
    const bool crashes = crash != nullptr && call.offset == crash->call.offset;
    std::optional<Difference> difference = crashes ? player.difference(call, "the module failed here: " + crash->words)
                                                   : player.play(call, call.time >= window.from);
    if (difference && !counts.first) {
      counts.first = std::move(difference);
      counts.first_at = call.offset;
    }
    return !crashes;
  });
  nlohmann::json answer{{"text", in_words(recording, player, counts)}, {"json", in_json(recording, player, counts)}};
  if (counts.first) answer["first"] = counts.first_at;
  return answer.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

}  // namespace

Playback play(const std::filesystem::path& recording, const std::filesystem::path& module, const Window& window) {
  auto outcome = apart([&](Place& now) { return play_here(recording, module, window, now, nullptr); });
  const std::optional<Crash> crash =
      std::holds_alternative<Crash>(outcome) ? std::optional(std::get<Crash>(outcome)) : std::nullopt;
  // Up to there it did not crash.
  if (crash) outcome = apart([&](Place& now) { return play_here(recording, module, window, now, &*crash); });
  if (!std::holds_alternative<std::string>(outcome)) {
    throw Error(
        fmt::format("{}: the module crashes now in one call, now in another: {}", recording.string(), crash->words));
  }
  const nlohmann::json answer = nlohmann::json::parse(std::get<std::string>(outcome));
  Playback playback{answer.at("text"), answer.at("json"), {}, crash.has_value()};
  if (answer.contains("first")) playback.first = answer["first"];
  return playback;
}

std::size_t cut(const std::filesystem::path& path, const std::filesystem::path& module, const Playback& playback,
                const OutputPath& to) {
  const auto outcome = apart([&](Place& now) {
    const RecordingFile recording(path);
    Slicer slicer(recording);
    Player player(recording, Module(module), &slicer);
    recording.for_each([&](const RecordedCall& call) {
      now = call.place();
      const bool is_last = call.offset == playback.first;
      if (is_last && playback.has_crashed) {
        slicer.performed(call);
      } else {
        player.play(call, false);
      }
      return !is_last;
    });
    OutputFile file(to);
    const std::size_t calls = slicer.write(file);
    file.commit();
    return std::to_string(calls);
  });
  if (const auto* crash = std::get_if<Crash>(&outcome)) throw Error(path.string() + ": not cut: " + crash->words);
  return std::stoul(std::get<std::string>(outcome));
}

}  // namespace korvel::host
