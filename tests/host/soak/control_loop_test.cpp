#include "host/soak/control_loop.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <functional>
#include <set>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "contract/forwarder.h"
#include "contract/shown.h"
#include "contract/states.h"
#include "host/robot/module.h"
#include "tests/validator/faulty/forwarder.h"
#include "validator/allocations/allocations.h"

namespace korvel {

namespace faulty {

std::unique_ptr<tesk::RigidBodySystem> sound() {
  static const host::Module module(KORVEL_MODULE);
  return module.create()->clone();
}

}  // namespace faulty

namespace host {
namespace {

using std::chrono::milliseconds;
using namespace std::chrono_literals;

const volatile std::sig_atomic_t never = 0;
constexpr std::uint64_t states = 64;  // computed before the loop

/// Something happens at the end of each of a loop's cycles, told its number from 0.
class Eventful : public faulty::Forwarder {
 public:
  explicit Eventful(std::function<void(std::uint64_t)> happen) : happen_(std::move(happen)) {}
  std::unique_ptr<RigidBodySystem> clone() const override { return std::make_unique<Eventful>(*this); }
  void computeInverseDynamics() noexcept override {
    Forwarder::computeInverseDynamics();
    if (calls_++ >= states) happen_(calls_ - states - 1);
  }

 private:
  std::uint64_t calls_ = 0;
  std::function<void(std::uint64_t)> happen_;
};

LoopReport run(std::uint64_t cycles, milliseconds period, const std::function<void(std::uint64_t)>& happen) {
  Eventful robot(happen);
  return run_control_loop(robot, {period, cycles}, never);
}

/// Knows the bodies without which partial jacobians were computed, which leave nothing in the robot.
class Counting : public korvel::Forwarder<Counting> {
 public:
  std::unique_ptr<RigidBodySystem> clone() const override { return real_->clone(); }
  template <auto method, typename... Values>
  decltype(auto) call(Values&... values) const {
    if constexpr (operation_of<method> == operation_of<&Interface::computePartialComJacobian>) {
      bodies.push_back(std::get<0>(std::tie(values...)));
    }
    return (real_.get()->*method)(values...);
  }

  mutable std::vector<unsigned long> bodies;

 private:
  std::unique_ptr<RigidBodySystem> real_ = faulty::sound();
};

TEST(ControlLoop, AsksForThePartialJacobianOfEveryBody) {
  Counting robot;
  run_control_loop(robot, {1ms, 30}, never);
  EXPECT_EQ(robot.bodies.size(), states + 30);
  EXPECT_EQ(std::set(robot.bodies.begin(), robot.bodies.end()).size(), robot.getNbBodies());
}

// The robot is left as by every setter and computation in the last state.
TEST(ControlLoop, DoesAllThatAHostDoes) {
  for (const std::uint64_t cycles : {1U, 7U}) {
    const auto robot = faulty::sound();
    run_control_loop(*robot, {1ms, cycles, 5}, never);
    const auto expected = faulty::sound();
    compute(random_state(5 + cycles - 1, *expected), *expected);
    EXPECT_TRUE(same_bits(everything_readable(*robot), everything_readable(*expected))) << cycles;
  }
}

TEST(ControlLoop, CountsEveryCycleOnce) {
  constexpr std::uint64_t cycles = 100;
  const LoopReport report = run(cycles, 1ms, [](std::uint64_t) {});
  for (const LoopReport::Times* times : {&report.latency, &report.computing, &report.both}) {
    EXPECT_EQ(times->count(), cycles);
    EXPECT_LE(times->largest().place, cycles - 1 + report.skipped);
  }
  EXPECT_GE(report.both.largest().ns, std::max(report.latency.largest().ns, report.computing.largest().ns));
  EXPECT_LE(report.both.largest().ns, report.latency.largest().ns + report.computing.largest().ns);
  // A cycle is late if it took longer than a period, whether or not the machine was busy.
  constexpr std::int64_t period = 1'000'000;
  EXPECT_EQ(report.late > 0, report.both.largest().ns > period);
  EXPECT_EQ(report.skipped > 0, report.both.largest().ns >= period);
  EXPECT_EQ(report.late_by_latency > 0, report.latency.largest().ns >= period);
  EXPECT_EQ(report.late_by_computing > 0, report.computing.largest().ns > period);
}

// Each fourth cycle computes for five periods: it is late by its own fault, and the next wake-ups are not its victims.
TEST(ControlLoop, TellsLateCyclesAndWhy) {
  const LoopReport report = run(40, 2ms, [](std::uint64_t cycle) {
    if (cycle % 4 == 3) std::this_thread::sleep_for(10ms);
  });
  EXPECT_EQ(report.computing.count(), 40U);
  EXPECT_GE(report.late, 10U);
  EXPECT_GE(report.late_by_computing, 10U);
  EXPECT_GE(report.skipped, 5 * 10U);
  EXPECT_GE(report.computing.percentile(0.76), 10e6);
  EXPECT_GE(report.computing.largest().ns, 10'000'000);
  EXPECT_GE(report.voluntary_switches, 10);
}

TEST(ControlLoop, CountsPagesThatComeDuringTheLoop) {
  const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  constexpr std::uint64_t cycles = 50;
  void* const fresh = mmap(nullptr, page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(fresh, MAP_FAILED);
  const LoopReport report = run(cycles, 1ms, [&](std::uint64_t) {
    madvise(fresh, page, MADV_DONTNEED);
    *static_cast<volatile char*>(fresh) = 1;
  });
  EXPECT_GE(report.minor_faults, static_cast<long>(cycles));
  munmap(fresh, page);
}

TEST(ControlLoop, EndsInTheCycleInWhichItIsTold) {
  volatile std::sig_atomic_t stop = 0;
  Eventful robot([&](std::uint64_t cycle) { stop = cycle == 4 ? 1 : 0; });
  EXPECT_EQ(run_control_loop(robot, {1ms, 1'000'000}, stop).computing.count(), 5U);
}

#ifndef KORVEL_SANITIZED
TEST(ControlLoop, AllocatesNothing) {
  long first = 0, last = 0;
  run(20, 1ms, [&](std::uint64_t cycle) { (cycle == 0 ? first : last) = allocations().made; });
  EXPECT_GT(first, 0);
  EXPECT_EQ(last, first);
}
#endif

}  // namespace
}  // namespace host
}  // namespace korvel
