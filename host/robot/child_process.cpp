#include "host/robot/child_process.h"

#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

namespace korvel::host {

void begin_child(pid_t parent) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent) _exit(1);
  const rlimit no_core{0, 0};
  setrlimit(RLIMIT_CORE, &no_core);
}

void send(int channel, std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = write(channel, text.data(), text.size());
    if (count <= 0) return;
    text.remove_prefix(static_cast<std::size_t>(count));
  }
}

int status_at_end(pid_t child) {
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return status;
}

}  // namespace korvel::host
