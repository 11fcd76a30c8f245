#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <optional>
#include <string>

namespace korvel::host {

/// A process of its own for a task in which a module may do whatever it likes. It has the standard error and no other
/// open file of this process, leaves no core file, and ends with all that it has started: at the end of the task, after
/// its time, or with this process. The calling process has a single thread.
class ChildProcess {
 public:
  struct End {
    bool answered;
    std::string text;  ///< what the task returned, or how the process ended instead
    int signal = 0;    ///< that ended the process
  };

  /// Starts the task, which does not throw. Throws std::system_error if that is not possible.
  ChildProcess(const std::function<std::string()>& task, std::chrono::seconds limit);

  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;
  /// Ends the process if it still runs.
  ~ChildProcess();

  // To wait for several processes, poll `channel` for input no longer than `pause`, `receive` what there is, and ask
  // for the end.

  /// -1 once the process has closed it, mostly by its end.
  int channel() const { return channel_; }
  std::chrono::milliseconds pause() const;
  void receive();
  /// Returns nothing while the process runs.
  std::optional<End> end();

  /// Waits for this process alone.
  End wait();

 private:
  using Clock = std::chrono::steady_clock;

  void stop();
  /// Returns nothing if the task has sent no answer, or if another process has written too.
  std::optional<std::string> answer() const;

  /// The token stands before and after the answer. Only the task knows it, because a module may write to every
  /// descriptor that it finds open.
  std::string token_;
  std::chrono::seconds limit_;
  Clock::time_point start_;
  pid_t keeper_ = -1;
  int channel_ = -1;
  std::string received_;
};

}  // namespace korvel::host
