#include "host/replay/playback.h"

#include <fmt/format.h>

#include "host/replay/crash_witness.h"
#include "host/replay/words.h"

namespace korvel::host {

Played Playback::sum() const {
  Played all;
  for (const Played& p : played) {
    all.calls += p.calls;
    all.compared += p.compared;
    all.different += p.different;
  }
  return all;
}

Playback play(const RecordingFile& recording, const std::filesystem::path& module, const Window& window,
              Slicer* slicer) {
  Playback result;
  Player player(recording, Module(module), slicer);
  CrashWitness witness(recording);
  for_each_call(recording, window, [&](const RecordedCall& call, bool is_within) {
    witness.about_to(call);
    std::optional<Difference> difference = player.play(call, is_within);
    if (difference && !result.first) {
      result.first = std::move(difference);
      if (slicer != nullptr) slicer->keep();
    }
    if (!call.has_returned()) result.last_call = in_words(call.place()) + ": " + call_in_words(recording, call);
  });
  result.played = player.played();
  result.not_performed = player.not_performed();
  result.not_comparable = player.not_comparable();
  result.gaps = player.gaps();
  return result;
}

std::string in_words(const RecordingFile& recording, const Playback& playback) {
  std::string text = in_words(recording);
  if (!playback.last_call.empty()) text += fmt::format("did not return: {}\n", playback.last_call);
  if (playback.gaps > 0) text += fmt::format("calls are missing in {} places\n", playback.gaps);
  if (playback.not_comparable > 0) {
    text +=
        fmt::format("{} results could not be compared: what they depend on is not known\n", playback.not_comparable);
  }
  if (playback.not_performed > 0) {
    text += fmt::format("{} calls that the contract does not allow or that did not return were not performed\n",
                        playback.not_performed);
  }
  if (playback.first) {
    const Difference& d = *playback.first;
    text += fmt::format("\nFirst difference: {}\n{}\n{}\n\n{}\n", d.where, d.call, d.results, d.inputs);
  }
  text += fmt::format("{:<34}{:>12}{:>12}{:>12}\n", "operation", "calls", "compared", "different");
  for (std::size_t i = 0; i < playback.played.size(); ++i) {
    const Played& p = playback.played[i];
    if (p.calls == 0) continue;
    text += fmt::format("{:<34}{:>12}{:>12}{:>12}\n", recording::all_operations()[i].name, p.calls, p.compared,
                        p.different);
  }
  const Played all = playback.sum();
  return text + fmt::format("{} calls, {} results compared, {}\n", all.calls, all.compared,
                            all.different > 0  ? fmt::format("{} differ", all.different)
                            : all.compared > 0 ? "no difference"
                                               : "nothing could be said");
}

nlohmann::json in_json(const RecordingFile& recording, const Playback& playback) {
  nlohmann::json operations = nlohmann::json::object();
  for (std::size_t i = 0; i < playback.played.size(); ++i) {
    const Played& p = playback.played[i];
    if (p.calls == 0) continue;
    operations[recording::all_operations()[i].name] = {
        {"calls", p.calls}, {"compared", p.compared}, {"different", p.different}};
  }
  nlohmann::json json = in_json(recording);
  json.update({{"gaps", playback.gaps},
               {"not_performed", playback.not_performed},
               {"not_comparable", playback.not_comparable},
               {"operations", operations}});
  if (playback.first) {
    const Difference& d = *playback.first;
    json["first_difference"] = {{"where", d.where}, {"call", d.call}, {"inputs", d.inputs}, {"results", d.results}};
  }
  return json;
}

}  // namespace korvel::host
