#include "host/validate/observe/child.h"

#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <new>
#include <system_error>

#include "host/validate/core/require.h"

namespace korvel::validate {

namespace {

/// In memory that both processes share: a system call may be what the child must not make.
struct Progress {
  std::size_t operation;
  std::size_t arguments;
  bool ended;  ///< all calls came back
};

enum Exit : int { finished, was_refused };

void call(tesk::RigidBodySystem& robot, std::vector<Arguments>& arguments, volatile Progress& progress) noexcept {
  const std::vector<Operation>& operations = real_time_operations();
  for (std::size_t a = 0; a < arguments.size(); ++a) {
    progress.arguments = a;
    for (std::size_t i = 0; i < operations.size(); ++i) {
      progress.operation = i;
      operations[i].call(robot, arguments[a]);
    }
  }
  progress.ended = true;
}

}  // namespace

std::optional<Death> call_in_child(tesk::RigidBodySystem& robot, std::vector<Arguments> arguments, bool (*prepare)(),
                                   const char* refused) {
  void* shared = mmap(nullptr, sizeof(Progress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (shared == MAP_FAILED) throw std::system_error(errno, std::generic_category(), "mmap");
  auto* progress = new (shared) Progress{};
  real_time_operations();  // made now: the child may not have memory for them
  const pid_t child = fork();
  if (child < 0) throw std::system_error(errno, std::generic_category(), "fork");
  if (child == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const bool prepared = prepare();
    if (prepared) call(robot, arguments, *progress);
    // All threads: a module may have made one in the child.
    syscall(SYS_exit_group, prepared ? finished : was_refused);
  }
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  const Progress last = *progress;
  munmap(shared, sizeof(Progress));
  if (WIFSIGNALED(status)) return Death{real_time_operations()[last.operation].name, last.arguments, WTERMSIG(status)};
  if (WEXITSTATUS(status) == was_refused) throw NotPossible(refused);
  require(last.ended, "{} ends the process", real_time_operations()[last.operation].name);
  return std::nullopt;
}

}  // namespace korvel::validate
