/// A host to be recorded: loads a module and calls it.
///
///   recorded_host MODULE operations THREADS    every operation, on an object for each thread
///   recorded_host MODULE cycles COUNTER [N]    control cycles, for ever or N; a file has how many calls have returned.
///                                              Says how often the file was saved, by other threads and by this one
///   recorded_host MODULE fork                  the same objects in a parent and in its child
///   recorded_host MODULE daemon                a child that goes to another folder, and one that never calls
///   recorded_host MODULE mistakes              what the contract does not allow, and does no harm
///   recorded_host MODULE overlapping N         a call that overlaps others of the same object, then N computations
///   recorded_host MODULE clones ALIVE ROUNDS   objects that live for one computation
///   recorded_host MODULE scarce                objects are made when memory is scarce
///   recorded_host MODULE global                the process ends with an object
///   recorded_host MODULE exit COUNTER          the process ends while a thread calls
///   recorded_host MODULE crash                 the process ends in a call
///
/// What it has to tell goes to the standard output.

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <future>
#include <iostream>
#include <limits>
#include <new>
#include <optional>
#include <thread>

#include "allocations/allocations.h"
#include "host/robot/module.h"
#include "states/operations.h"

namespace {

std::atomic<int> saves{0}, saves_in_main{0};

}  // namespace

/// In front of the C library's.
extern "C" [[gnu::visibility("default")]] int msync(void* start, std::size_t size, int flags) {
  ++(getpid() == gettid() ? saves_in_main : saves);
  return static_cast<int>(syscall(SYS_msync, start, size, flags));
}

namespace {

using korvel::host::Module;
using korvel::host::System;

void every_operation(const Module& module, unsigned threads) {
  std::vector<System> robots;
  for (unsigned i = 0; i < threads; ++i) robots.push_back(module.create());
  std::vector<std::thread> running;
  for (unsigned i = 0; i < threads; ++i) {
    running.emplace_back([&, i] {
      std::vector<korvel::Arguments> arguments = korvel::varied_arguments(*robots[i], i + 1, 4);
      for (korvel::Arguments& with : arguments) {
        for (const korvel::Operation& operation : korvel::real_time_operations()) {
          // What all objects share overlaps no other call.
          if (threads == 1 || std::strcmp(operation.name, "setBodyInertia") != 0) operation.call(*robots[i], with);
        }
        // A host that does nothing else is faster than a disk.
        usleep(5000);
        tesk::RigidBodySystem::ComJacobian J;
        for (const korvel::AllocatingOperation& operation : korvel::allocating_operations()) {
          try {
            operation.call(*robots[i], J);
          } catch (const std::out_of_range&) {
          }
        }
      }
    });
  }
  for (std::thread& thread : running) thread.join();
}

/// One of 28 calls.
void cycle(tesk::RigidBodySystem& robot, korvel::Arguments& with, std::atomic<std::uint64_t>& returned) {
  const auto call = [&](auto&& f) {
    f();
    returned.fetch_add(1, std::memory_order_release);
  };
  call([&] { robot.setRootPose(with.pose); });
  call([&] { robot.setJointAnglesPos(with.joints[0]); });
  call([&] { robot.setJointAnglesVel(with.joints[1]); });
  call([&] { robot.setJointAnglesAcc(with.joints[2]); });
  call([&] { robot.computeFwdKinematics(); });
  call([&] { robot.computeInverseDynamics(); });
  call([&] { robot.getJointAnglesTorque(); });
  for (unsigned long b = 0; b < 21; ++b) call([&] { robot.getPose(b); });
}

std::atomic<std::uint64_t>& counter_in(const char* counter) {
  const int file = open(counter, O_RDWR | O_CREAT, 0666);
  if (file < 0 || ftruncate(file, sizeof(std::uint64_t)) != 0) std::abort();
  void* memory = mmap(nullptr, sizeof(std::uint64_t), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  if (memory == MAP_FAILED) std::abort();
  return *new (memory) std::atomic<std::uint64_t>(0);
}

void cycles(const Module& module, const char* counter, std::uint64_t count) {
  std::atomic<std::uint64_t>& returned = counter_in(counter);
  const System robot = module.create();
  std::vector<korvel::Arguments> arguments;
  for (unsigned seed = 0; seed < 8; ++seed) {
    arguments.emplace_back(korvel::random_state(seed, korvel::RobotSize(25)), *module.create());
  }
  for (std::uint64_t i = 0; i < count; ++i) {
    cycle(*robot, arguments[i % arguments.size()], returned);
    if (i % 8 == 0) usleep(200);
  }
  std::cout << saves << ' ' << saves_in_main << '\n';
}

void both_after_a_fork(const Module& module) {
  const System robot = module.create();
  korvel::Arguments with(korvel::random_state(1, *robot), *robot);
  std::atomic<std::uint64_t> returned{0};
  cycle(*robot, with, returned);
  const pid_t child = fork();
  // The child's file begins some milliseconds later.
  for (int i = 0; i < 200; ++i) {
    cycle(*robot, with, returned);
    usleep(1000);
  }
  if (child != 0) waitpid(child, nullptr, 0);
}

void as_a_daemon(const Module& module) {
  System robot = module.create();
  korvel::Arguments with(korvel::random_state(1, *robot), *robot);
  std::atomic<std::uint64_t> returned{0};
  if (fork() == 0) {
    // A watchdog, for instance.
    usleep(100000);
    _exit(0);
  }
  const pid_t child = fork();
  if (child == 0) {
    if (chdir("/") != 0) _exit(1);
    for (int i = 0; i < 200; ++i) {
      cycle(*robot, with, returned);
      usleep(1000);
    }
  }
  if (child != 0) {
    while (wait(nullptr) > 0) {
    }
  }
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

/// Another thread sets velocities from the middle of one call until after others, then no more.
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
    if (i % 64 == 0) usleep(1000);
  }
}

void short_clones(const Module& module, std::size_t alive, int rounds) {
  const System robot = module.create();
  for (int i = 0; i < rounds; ++i) {
    std::vector<std::unique_ptr<tesk::RigidBodySystem>> clones(alive);
    for (auto& clone : clones) clone = robot->clone();
    for (const auto& clone : clones) clone->computeFwdKinematics();
    clones.clear();
    if (i % 8 == 0) usleep(1000);
  }
}

/// Says how many attempts have failed.
void when_memory_is_scarce(const Module& module) {
  const System robot = module.create();
  const auto failures = [](auto&& make) {
    for (long n = 1;; ++n) {
      const korvel::FailingAllocations failing(n, false);
      try {
        make();
        return n - 1;
      } catch (const std::bad_alloc&) {
      }
    }
  };
  const long of_clones = failures([&] { return robot->clone(); });
  std::cout << of_clones << ' ' << failures([&] { return module.create(); }) << '\n';
}

/// A host's global object lasts longer than what its modules have that is static.
struct Global {
  ~Global() {
    if (robot) (*robot)->getMass();
  }
  std::optional<System> robot;
} global;

void with_a_global_object(const Module& module) {
  System& robot = global.robot.emplace(module.create());
  korvel::Arguments with(korvel::random_state(1, *robot), *robot);
  std::atomic<std::uint64_t> returned{0};
  for (int i = 0; i < 100; ++i) cycle(*robot, with, returned);
}

void calling_at_exit(const Module& module, const char* counter) {
  std::atomic<std::uint64_t>& returned = counter_in(counter);
  std::thread calling([&returned, robot = module.create()] {
    korvel::Arguments with(korvel::random_state(1, *robot), *robot);
    for (std::uint64_t i = 1;; ++i) {
      cycle(*robot, with, returned);
      if (i % 64 == 0) usleep(100);
    }
  });
  calling.detach();
  usleep(30000);
  std::exit(0);
}

void in_a_call(const Module& module) {
  const System robot = module.create();
  robot->computeFwdKinematics();
  robot->getPose(1UL << 40);
}

void mistakes(const Module& module) {
  const System robot = module.create();
  robot->getJointAngleTorque(3);
  QZ::Math::Velocity6D velocity;
  velocity.wx = std::numeric_limits<float>::quiet_NaN();
  robot->setRootVelocity(velocity);
  robot->computeInverseDynamics();
  robot->getJointAngleTorque(3);
  try {
    robot->getBodyId("Tail");
  } catch (const std::out_of_range&) {
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) return 2;
  const Module module(argv[1]);
  const std::string what = argv[2];
  if (what == "operations") every_operation(module, static_cast<unsigned>(std::atoi(argv[3])));
  if (what == "cycles")
    cycles(module, argv[3], argc > 4 ? static_cast<std::uint64_t>(std::atoll(argv[4])) : ~std::uint64_t{0});
  if (what == "fork") both_after_a_fork(module);
  if (what == "daemon") as_a_daemon(module);
  if (what == "overlapping") overlapping(module, std::atoi(argv[3]));
  if (what == "clones") short_clones(module, static_cast<std::size_t>(std::atoi(argv[3])), std::atoi(argv[4]));
  if (what == "scarce") when_memory_is_scarce(module);
  if (what == "global") with_a_global_object(module);
  if (what == "exit") calling_at_exit(module, argv[3]);
  if (what == "crash") in_a_call(module);
  if (what == "mistakes") mistakes(module);
  return 0;
}
