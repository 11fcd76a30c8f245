#include <fmt/format.h>
#include <poll.h>

#include <algorithm>
#include <iterator>
#include <list>
#include <optional>

#include "host/process/child_process.h"
#include "validator/core/check.h"

namespace korvel::validate {

namespace {

/// Returns the verdict and the text, as the child sends them: one character and the rest.
std::string run_here(const Check& check, const Subject& subject) {
  const auto sent = [](CheckVerdict verdict, const std::string& text) { return static_cast<char>(verdict) + text; };
  try {
    return sent(CheckVerdict::held, check.run(subject));
  } catch (const Finding& finding) {
    return sent(CheckVerdict::finding, finding.what());
  } catch (const NotPossible& reason) {
    return sent(CheckVerdict::not_possible, reason.what());
  } catch (const std::exception& error) {
    return sent(CheckVerdict::finding, fmt::format("an exception escaped: {}", error.what()));
  } catch (...) {
    return sent(CheckVerdict::finding, "an exception escaped that is no std::exception");
  }
}

class Running {
 public:
  Running(std::size_t index, const Check& check, const Subject& subject)
      : index_(index), child_([&] { return run_here(check, subject); }, check.limit) {}

  std::size_t index() const { return index_; }
  host::ChildProcess& child() { return child_; }

  /// Returns nothing while the check runs.
  std::optional<Outcome> outcome() {
    const auto end = child_.end();
    if (!end) return std::nullopt;
    const double seconds = std::chrono::duration<double>(Clock::now() - start_).count();
    if (!end->answered) return Outcome{CheckVerdict::finding, end->text, seconds};
    return Outcome{static_cast<CheckVerdict>(end->text[0]), end->text.substr(1), seconds};
  }

 private:
  using Clock = std::chrono::steady_clock;

  Clock::time_point start_ = Clock::now();
  std::size_t index_;
  host::ChildProcess child_;
};

}  // namespace

void run_checks(const Checks& checks, const Subject& subject, unsigned jobs,
                const std::function<void(const Check&, const Outcome&)>& report) {
  std::list<Running> running;
  std::vector<std::optional<Outcome>> outcomes(checks.size());
  std::size_t started = 0;
  std::size_t reported = 0;
  while (reported < checks.size()) {
    while (started < checks.size() && running.size() < std::max(jobs, 1U)) {
      running.emplace_back(started, checks[started], subject);
      ++started;
    }
    std::vector<pollfd> channels;
    auto pause = std::chrono::milliseconds::max();
    for (Running& r : running) {
      channels.push_back({r.child().channel(), POLLIN, 0});
      pause = std::min(pause, r.child().pause());
    }
    poll(channels.data(), channels.size(), static_cast<int>(pause.count()));
    auto channel = channels.begin();
    for (auto r = running.begin(); r != running.end();) {
      if ((channel++)->revents != 0) r->child().receive();
      auto& outcome = outcomes[r->index()];
      outcome = r->outcome();
      r = outcome ? running.erase(r) : std::next(r);
    }
    for (; reported < checks.size() && outcomes[reported]; ++reported) report(checks[reported], *outcomes[reported]);
  }
}

}  // namespace korvel::validate
