#pragma once

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>

#include "contract/calls.h"
#include "host/robot/module.h"

namespace korvel::recorded {

/// 28 calls.
inline void cycle(tesk::RigidBodySystem& robot, Arguments& with, std::atomic<std::uint64_t>& returned) {
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

/// A number in a file, for others to read while this process runs and after it.
inline std::atomic<std::uint64_t>& counter_in(const char* counter) {
  const int file = open(counter, O_RDWR | O_CREAT, 0666);
  if (file < 0 || ftruncate(file, sizeof(std::uint64_t)) != 0) std::abort();
  void* memory = mmap(nullptr, sizeof(std::uint64_t), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  if (memory == MAP_FAILED) std::abort();
  return *new (memory) std::atomic<std::uint64_t>(0);
}

/// Waits until the recorder's thread has seen what was called before and made blocks ready for more: until it has been
/// asleep, has woken up, and is asleep again. There may be no such thread.
void let_the_recorder_work();

// These ends of hosts are in recorded_mishaps.cpp.

/// A child that goes to another folder, and one that never calls.
void as_a_daemon(const host::Module& module);
/// Another thread sets velocities from the middle of one call until after others; then `count` computations.
void overlapping(const host::Module& module, int count);
/// Objects that live for one computation, `alive` at a time.
void short_clones(const host::Module& module, std::size_t alive, int rounds);
/// Objects are made, until it succeeds.
void when_memory_is_scarce(const host::Module& module);
/// The host closes all descriptors, opens `file` under each of their numbers, writes a megabyte to it, and goes on.
void closing_descriptors(const host::Module& module, const char* file);
/// The process ends with an object.
void with_a_global_object(const host::Module& module);
/// The process ends while a thread calls.
void calling_at_exit(const host::Module& module, const char* counter);
/// The process ends in a call.
void in_a_call(const host::Module& module);
/// Says how often the process has saved a file: from other threads, and from its first one.
void say_saves();

}  // namespace korvel::recorded
