#pragma once

#include <map>
#include <nlohmann/json.hpp>

#include "recorder/replay/recording_file.h"
#include "tests/host/support/command.h"
#include "tests/recorder/sealed.h"

namespace korvel::host {

/// Hosts that are recorded into `recordings_`.
class Recorded : public CommandTest {
 protected:
  /// Runs a host on the recorder, with these settings in its environment. Its exit status.
  int record(const std::string& arguments, const std::string& settings = "",
             const std::string& preparation = ":") const {
    return recorded(arguments, settings, preparation).status;
  }
  Outcome recorded(const std::string& arguments, const std::string& settings = "",
                   const std::string& preparation = ":") const {
    Outcome outcome = shell(environment(settings) + fmt::format("{}; exec '{}' '{}' {}", preparation,
                                                                KORVEL_RECORDED_HOST, KORVEL_RECORDER, arguments));
    EXPECT_EQ(outcome.err, "");
    return outcome;
  }
  /// The same in a shell that says what becomes of it, and may redirect what the host says.
  Outcome shell_of_host(const std::string& arguments, const std::string& settings = "") const {
    return shell(environment(settings) + fmt::format("'{}' '{}' {}", KORVEL_RECORDED_HOST, KORVEL_RECORDER, arguments));
  }
  std::string environment(const std::string& settings) const {
    return fmt::format("export KORVEL_RECORD_TO='{}' {}; ", recordings_.path().string(), settings);
  }

  std::vector<std::filesystem::path> recordings() const {
    std::vector<std::filesystem::path> all;
    for (const auto& entry : std::filesystem::directory_iterator(recordings_.path())) all.push_back(entry.path());
    return all;
  }
  std::filesystem::path recording() const {
    const auto all = recordings();
    EXPECT_EQ(all.size(), 1U);
    return all.empty() ? "" : all.front();
  }

  Outcome replay(const std::filesystem::path& file, const std::string& options = "",
                 const std::string& preparation = ":") const {
    return host(fmt::format("replay '{}' {}", file.string(), options), preparation);
  }
  nlohmann::json replayed(const std::filesystem::path& file, const std::string& options = "") const {
    const Outcome outcome = replay(file, "--json " + options);
    EXPECT_EQ(outcome.status, 0) << outcome.out << outcome.err;
    return nlohmann::json::parse(outcome.out, nullptr, false)["recordings"][0];
  }

  static constexpr int stretched = 100'000;
  /// Makes a recording say that it lasted `stretched` times as long; the times of its calls stay.
  static void stretch(const std::filesystem::path& file) {
    std::string bytes = read(file);
    recording::FileHeader header;
    std::memcpy(&header, bytes.data(), sizeof(header));
    header.last.ticks = header.start.ticks + (header.last.ticks - header.start.ticks) * stretched;
    header.last.monotonic_ns =
        header.start.monotonic_ns + (header.last.monotonic_ns - header.start.monotonic_ns) * stretched;
    std::memcpy(bytes.data(), &header, sizeof(header));
    seal(bytes);
    write(file, bytes);
  }

  TemporaryDirectory recordings_;
};

template <typename Visit>
void each_call(const std::filesystem::path& file, const Visit& visit) {
  RecordingFile(file).for_each([&](const RecordedCall& call) {
    visit(call);
    return true;
  });
}

/// Returns how often each operation is in a file, without restated calls.
inline std::map<std::string, std::size_t> calls_in(const std::filesystem::path& file) {
  std::map<std::string, std::size_t> calls;
  each_call(file, [&](const RecordedCall& call) {
    if (!call.has(recording::restated)) ++calls[call.operation.name];
  });
  return calls;
}

}  // namespace korvel::host
