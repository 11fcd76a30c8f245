#include <sys/syscall.h>
#include <sys/wait.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <iostream>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>

#include "tests/recorder/recorded_host.h"
#include "validator/allocations/allocations.h"

namespace {

std::atomic<int> saves{0}, saves_in_main{0};

}  // namespace

/// Takes the place of the C library's function.
extern "C" [[gnu::visibility("default")]] int msync(void* start, std::size_t size, int flags) {
  ++(getpid() == gettid() ? saves_in_main : saves);
  return static_cast<int>(syscall(SYS_msync, start, size, flags));
}

namespace korvel::recorded {

using host::Module;
using host::System;

namespace {

struct RecorderThread {
  bool sleeps;
  long sleeps_begun;
};

std::optional<RecorderThread> recorder_thread() {
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    std::stringstream text;
    text << std::ifstream(task.path() / "status").rdbuf();
    const std::string status = text.str();
    if (status.find("Name:\tkorvel-record\n") != 0) continue;
    constexpr std::string_view switches = "\nvoluntary_ctxt_switches:";
    const std::size_t place = status.find(switches) + switches.size();
    return RecorderThread{status.find("\nState:\tS") != std::string::npos, std::stol(status.substr(place))};
  }
  return std::nullopt;
}

/// Joint values that something happens in the middle of reading.
class Trap {
 public:
  static constexpr std::size_t size = 4096;
  explicit Trap(std::function<void()> action)
      : values_(static_cast<float*>(mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0))) {
    std::fill(values_, values_ + 24, 0.3F);
    mprotect(values_, size, PROT_NONE);
    last = this;
    action_ = std::move(action);
    struct sigaction handler {};
    handler.sa_flags = SA_SIGINFO | SA_NODEFER;
    handler.sa_sigaction = [](int, siginfo_t*, void*) {
      mprotect(last->values_, size, PROT_READ);
      last->action_();
    };
    sigaction(SIGSEGV, &handler, nullptr);
  }
  Eigen::Map<const Eigen::ArrayXf> values() const { return {values_, 24}; }

 private:
  static thread_local Trap* last;
  float* values_;
  std::function<void()> action_;
};
thread_local Trap* Trap::last = nullptr;

/// A host's global object lasts longer than what its modules have that is static.
struct Global {
  Global() = default;
  Global(const Global&) = delete;
  Global& operator=(const Global&) = delete;
  ~Global() {
    if (robot) (*robot)->getMass();
  }
  std::optional<System> robot;
} global;

}  // namespace

void let_the_recorder_work() {
  std::optional<long> before;
  while (const auto thread = recorder_thread()) {
    if (thread->sleeps && thread->sleeps_begun > before.value_or(thread->sleeps_begun)) return;
    if (thread->sleeps && !before) before = thread->sleeps_begun;
    usleep(100);
  }
}

void as_a_daemon(const Module& module) {
  System robot = module.create();
  Arguments with(random_state(1, *robot), *robot);
  std::atomic<std::uint64_t> returned{0};
  cycle(*robot, with, returned);
  if (fork() == 0) {
    // A watchdog, for instance.
    usleep(100000);
    _exit(0);
  }
  const pid_t child = fork();
  if (child == 0) {
    if (chdir("/") != 0) _exit(1);
    for (int i = 0; i < 200; ++i) cycle(*robot, with, returned);
    return;
  }
  while (wait(nullptr) > 0) {
  }
  cycle(*robot, with, returned);
}

void overlapping(const Module& module, int count) {
  const System robot = module.create();
  std::promise<void> other_is_inside, other_may_go_on;
  std::thread other;
  const auto computation = [&](float position) {
    robot->setJointAnglesPos(Eigen::ArrayXf::Constant(24, position));
    robot->computeInverseDynamics();
    robot->getJointAnglesTorque();
  };
  const Trap first([&] {
    other = std::thread([&] {
      const Trap second([&] {
        other_is_inside.set_value();
        other_may_go_on.get_future().wait();
      });
      robot->setJointAnglesVel(second.values());
    });
    other_is_inside.get_future().wait();
  });
  computation(0);
  robot->setJointAnglesPos(first.values());
  computation(0.1F);
  other_may_go_on.set_value();
  other.join();
  for (int i = 0; i < count; ++i) {
    computation(0.001F * static_cast<float>(i % 100));
    if (i % 64 == 0) let_the_recorder_work();
  }
}

void short_clones(const Module& module, std::size_t alive, int rounds) {
  const System robot = module.create();
  for (int i = 0; i < rounds; ++i) {
    std::vector<std::unique_ptr<tesk::RigidBodySystem>> clones(alive);
    for (auto& clone : clones) clone = robot->clone();
    for (const auto& clone : clones) clone->computeFwdKinematics();
    clones.clear();
    if (i % 2 == 0) let_the_recorder_work();
  }
}

void when_memory_is_scarce(const Module& module) {
  const System robot = module.create();
  const auto until_it_succeeds = [](auto&& make) {
    for (long n = 1;; ++n) {
      const FailingAllocations failing(n, false);
      try {
        make();
        return;
      } catch (const std::bad_alloc&) {
      }
    }
  };
  until_it_succeeds([&] { return robot->clone(); });
  until_it_succeeds([&] { return module.create(); });
}

void closing_descriptors(const Module& module, const char* file) {
  const System robot = module.create();
  Arguments with(random_state(1, *robot), *robot);
  std::atomic<std::uint64_t> returned{0};
  cycle(*robot, with, returned);
  const int own = open(file, O_RDWR | O_CREAT, 0666);
  for (int number = 3; number < 64; ++number) dup2(own, number);
  const std::string megabyte(1 << 20, 'x');
  if (::write(own, megabyte.data(), megabyte.size()) != 1 << 20) std::abort();
  // Many blocks more than were ready.
  for (int i = 0; i < 4000; ++i) {
    cycle(*robot, with, returned);
    if (i % 8 == 0) usleep(200);
  }
}

void with_a_global_object(const Module& module) {
  System& robot = global.robot.emplace(module.create());
  Arguments with(random_state(1, *robot), *robot);
  std::atomic<std::uint64_t> returned{0};
  for (int i = 0; i < 100; ++i) cycle(*robot, with, returned);
}

void calling_at_exit(const Module& module, const char* counter) {
  std::atomic<std::uint64_t>& returned = counter_in(counter);
  std::thread calling([&returned, robot = module.create()] {
    Arguments with(random_state(1, *robot), *robot);
    for (std::uint64_t i = 1;; ++i) {
      cycle(*robot, with, returned);
      if (i % 64 == 0) usleep(100);
    }
  });
  calling.detach();
  while (returned < 28 * 200) usleep(100);
  std::exit(0);
}

void in_a_call(const Module& module) {
  const System robot = module.create();
  robot->computeFwdKinematics();
  robot->getPose(1UL << 40);
}

void say_saves() { std::cout << saves << ' ' << saves_in_main << '\n'; }

}  // namespace korvel::recorded
