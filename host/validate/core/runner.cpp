#include "host/validate/core/runner.h"

#include <fmt/format.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <optional>
#include <system_error>

#include "host/robot/child_process.h"

namespace korvel::validate {

namespace {

using Clock = std::chrono::steady_clock;

[[noreturn]] void fail(const char* what) { throw std::system_error(errno, std::generic_category(), what); }

/// The verdict and the text, as the child sends them: one letter and the rest.
std::string run_here(const Check& check, const Subject& subject) {
  try {
    return 'h' + check.run(subject);
  } catch (const Finding& finding) {
    return std::string("f") + finding.what();
  } catch (const NotPossible& reason) {
    return std::string("n") + reason.what();
  } catch (const std::exception& error) {
    return fmt::format("fan exception escaped: {}", error.what());
  } catch (...) {
    return "fan exception escaped that is no std::exception";
  }
}

[[noreturn]] void run_in_child(const Check& check, const Subject& subject, int channel, pid_t parent) {
  host::begin_child(parent);
  host::send(channel, run_here(check, subject));
  // No destructors and no handlers of the module or of this program.
  _exit(0);
}

class Child {
 public:
  Child(const Check& check, const Subject& subject) : check_(&check), start_(Clock::now()) {
    std::array<int, 2> channel{};
    if (pipe(channel.data()) != 0) fail("pipe");
    std::fflush(nullptr);
    const pid_t parent = getpid();
    pid_ = fork();
    if (pid_ < 0) fail("fork");
    if (pid_ == 0) {
      close(channel[0]);
      run_in_child(check, subject, channel[1], parent);
    }
    close(channel[1]);
    channel_ = channel[0];
  }

  /// -1 once the process has closed it, mostly by its end.
  int channel() const { return channel_; }
  std::chrono::milliseconds left() const {
    return std::chrono::duration_cast<std::chrono::milliseconds>(start_ + check_->limit - Clock::now());
  }

  /// Takes what has been sent.
  void receive() {
    std::array<char, 4096> part{};
    const ssize_t count = read(channel_, part.data(), part.size());
    if (count > 0) {
      message_.append(part.data(), static_cast<std::size_t>(count));
    } else {
      close(channel_);
      channel_ = -1;
    }
  }

  /// Nothing while the process runs; ends it when it has used up its time.
  std::optional<Outcome> outcome() {
    int status = 0;
    const bool ended = channel_ < 0 && waitpid(pid_, &status, WNOHANG) != 0;
    if (!ended && left().count() > 0) return std::nullopt;
    const double seconds = std::chrono::duration<double>(Clock::now() - start_).count();
    if (!ended) {
      kill(pid_, SIGKILL);
      host::status_at_end(pid_);
      if (channel_ >= 0) close(channel_);
      return Outcome{Verdict::finding, fmt::format("still running after {} s", check_->limit.count()), seconds};
    }
    if (!message_.empty()) return Outcome{verdict(), message_.substr(1), seconds};
    if (WIFSIGNALED(status)) {
      return Outcome{Verdict::finding, fmt::format("crashed: {}", strsignal(WTERMSIG(status))), seconds};
    }
    return Outcome{Verdict::finding, fmt::format("the process was ended with exit status {}", WEXITSTATUS(status)),
                   seconds};
  }

 private:
  Verdict verdict() const {
    return message_[0] == 'h' ? Verdict::held : message_[0] == 'n' ? Verdict::not_possible : Verdict::finding;
  }

  const Check* check_;
  Clock::time_point start_;
  pid_t pid_ = -1;
  int channel_ = -1;
  std::string message_;
};

}  // namespace

void run_checks(const Checks& checks, const Subject& subject, unsigned jobs,
                const std::function<void(const Check&, const Outcome&)>& report) {
  struct Running {
    std::size_t check;
    Child child;
  };
  std::vector<Running> running;
  std::vector<std::optional<Outcome>> outcomes(checks.size());
  std::size_t started = 0;
  std::size_t reported = 0;
  while (reported < checks.size()) {
    while (started < checks.size() && running.size() < std::max(jobs, 1U)) {
      running.push_back({started, Child(checks[started], subject)});
      ++started;
    }
    std::vector<pollfd> channels;
    auto wait = std::chrono::milliseconds::max();
    for (const Running& r : running) {
      channels.push_back({r.child.channel(), POLLIN, 0});
      // What has closed its channel and goes on is looked at now and then.
      wait = std::min({wait, r.child.left(), r.child.channel() < 0 ? std::chrono::milliseconds(1) : wait});
    }
    poll(channels.data(), channels.size(), static_cast<int>(std::max<std::int64_t>(wait.count(), 0)));
    for (std::size_t i = running.size(); i-- > 0;) {
      if (channels[i].revents != 0) running[i].child.receive();
      outcomes[running[i].check] = running[i].child.outcome();
      if (outcomes[running[i].check]) running.erase(running.begin() + static_cast<std::ptrdiff_t>(i));
    }
    for (; reported < checks.size() && outcomes[reported]; ++reported) report(checks[reported], *outcomes[reported]);
  }
}

}  // namespace korvel::validate
