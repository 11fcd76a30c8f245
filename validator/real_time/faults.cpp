#include <fmt/format.h>

#include <fstream>
#include <functional>
#include <future>
#include <new>

#include "contract/calls.h"
#include "contract/shown.h"
#include "validator/allocations/allocations.h"
#include "validator/core/check.h"

namespace korvel::validate {

namespace {

using namespace std::chrono_literals;
using Robot = tesk::RigidBodySystem;
using ComJacobian = Robot::ComJacobian;

/// Calls that may allocate, with their names: `create` and operations of an object.
using Allocating = std::pair<std::string, std::function<void(ComJacobian&)>>;

std::vector<Allocating> all_allocating(const host::Module& module, Robot& robot) {
  std::vector<Allocating> all{{"create", [&](ComJacobian&) { module.create(); }}};
  for (const auto& [name, call] : allocating_operations()) {
    all.emplace_back(name, [&robot, run = call](ComJacobian& J) { run(robot, J); });
  }
  return all;
}

/// The end of an operation.
enum class End { returned, bad_alloc, out_of_range, other };

End end_of(const Allocating& operation, ComJacobian& J) {
  try {
    operation.second(J);
    return End::returned;
  } catch (const std::bad_alloc&) {
    return End::bad_alloc;
  } catch (const std::out_of_range&) {
    return End::out_of_range;
  } catch (...) {
    return End::other;
  }
}

/// Fails every allocation of an operation in turn, alone or with all after it, until it runs through. Returns how many.
long fail_each(const Allocating& operation, bool all_after, const Robot& robot) {
  const std::vector<float> before = everything_readable(robot);
  const ComJacobian untouched = ComJacobian::Constant(3, 7, 42);
  // First the operation without a failure, in which the runtime also allocates what it keeps for good.
  ComJacobian resized = untouched;
  const End usual = end_of(operation, resized);
  for (long n = 1;; ++n) {
    ComJacobian J = untouched;
    const long live = allocations().live;
    End end{};
    bool happened = false;
    long kept = 0;
    {
      const FailingAllocations failing(n, all_after);
      end = end_of(operation, J);
      happened = FailingAllocations::happened();
      kept = allocations().live - live;
    }
    const auto finding = [&](const std::string& what) {
      return Finding(
          fmt::format("{}, allocation {} fails{}: {}", operation.first, n, all_after ? " and all after it" : "", what));
    };
    // An exception about a name may still get through: the runtime has memory in reserve for exceptions.
    const bool expected = happened ? end == End::bad_alloc || (end == End::out_of_range && end == usual) : end == usual;
    if (!expected) throw finding(end == End::returned ? "no exception" : "not std::bad_alloc");
    if (happened && kept != 0) throw finding(fmt::format("{} blocks are left", kept));
    if (happened && (J.cols() != 7 || J != untouched)) throw finding("the jacobian is not what it was");
    if (!same_bits(everything_readable(robot), before)) throw finding("the object shows other values afterwards");
    if (!happened) return n - 1;
    if (n == 1000) throw finding("no end of allocations");
  }
}

std::string survives_exhaustion(const Subject& subject) {
  const host::Module module(subject.module);
  const host::System robot = module.create();
  const State state = random_state(subject.seed, *robot);
  compute(state, *robot);
  const std::vector<float> before = everything_readable(*robot);
  long points = 0;
  const std::vector<Allocating> allocating = all_allocating(module, *robot);
  for (const Allocating& operation : allocating) {
    for (const bool all_after : {false, true}) points += fail_each(operation, all_after, *robot);
  }
  if (points == 0) throw NotPossible("this build cannot make allocations of a module fail");
  compute(random_state(subject.seed + 1, *robot), *robot);
  compute(state, *robot);
  require(same_bits(everything_readable(*robot), before),
          "after all these failures the same inputs give other results");
  return fmt::format("{} failures of {} operations survived, each allocation alone and with all after it", points,
                     allocating.size());
}

/// Resources that a process holds: blocks of the heap and mapped pages.
struct Footprint {
  long blocks;
  long pages;
};

Footprint footprint() {
  long pages = 0;
  std::ifstream("/proc/self/statm") >> pages;
  return {allocations().live, pages};
}

std::string survives_reloads(const Subject& subject) {
  constexpr int cycles = 1000;
  constexpr int warm = 100;
  std::vector<float> first;
  Footprint start{};
  Footprint end{};
  for (int cycle = 0; cycle < cycles; ++cycle) {
    {
      const host::System robot = create(subject);
      compute(random_state(subject.seed, *robot), *robot);
      std::vector<float> shown = everything_readable(*robot);
      for (unsigned long b = 0; b < robot->getNbBodies(); ++b) shown.push_back(robot->getMass(b));
      shown.push_back(robot->getMass());
      if (cycle == 0) first = shown;
      require(same_bits(shown, first), "cycle {}: other inertias or other results than in the first", cycle);
      const unsigned long changed = static_cast<unsigned long>(cycle) % robot->getNbBodies();
      robot->setBodyInertia(changed, 7, {1, 2, 3}, Eigen::Matrix3f::Identity());
    }
    end = footprint();
    if (cycle == warm) start = end;
  }
  if (allocations().made == 0) return fmt::format("{} cycles; this build does not count blocks", cycles);
  // The C library may ask for a page now and then; what a module loses in each cycle adds up to hundreds.
  require(end.blocks == start.blocks && end.pages < start.pages + (cycles - warm) / 10,
          "from cycle {} to {}: {} to {} blocks, {} to {} pages", warm, cycles, start.blocks, end.blocks, start.pages,
          end.pages);
  return fmt::format("{} cycles, {} blocks and {} pages after cycle {} and after the last", cycles, end.blocks,
                     end.pages, warm);
}

constexpr unsigned threads = 8;
constexpr std::uint64_t states_of_each = 25;
constexpr int rounds = 200;

std::string own_objects(const Subject& subject) {
  const host::Module module(subject.module);
  const host::System serial = module.create();
  std::vector<host::System> robots;
  std::vector<std::vector<State>> states(threads);
  std::vector<std::vector<float>> expected;
  for (unsigned thread = 0; thread < threads; ++thread) {
    robots.push_back(module.create());
    const std::uint64_t first = subject.seed + states_of_each * thread;
    for (std::uint64_t i = 0; i < states_of_each; ++i) states[thread].push_back(random_state(first + i, *serial));
    expected.push_back(everything_after_each(states[thread], *serial));
  }

  std::promise<void> start;
  std::shared_future<void> started = start.get_future().share();
  std::vector<std::future<void>> running;
  for (unsigned thread = 0; thread < threads; ++thread) {
    running.push_back(std::async(std::launch::async, [&, thread, started] {
      started.wait();
      for (int round = 0; round < rounds; ++round) {
        require(same_bits(everything_after_each(states[thread], *robots[thread]), expected[thread]),
                "thread {} of {}, round {}: not the bits of a single thread", thread, threads, round);
      }
    }));
  }
  start.set_value();
  for (std::future<void>& thread : running) thread.get();
  return fmt::format("{} threads, {} states, {} rounds: the bits of a single thread", threads, states_of_each, rounds);
}

}  // namespace

Checks fault_checks() {
  return {
      {"faults.survives-exhaustion",
       "When an allocation fails, operations that may throw say std::bad_alloc, leave no block and change nothing.",
       survives_exhaustion},
      {"faults.survives-reloads",
       "A module can be loaded and closed again and again: memory stays constant, inertias are the factory's.",
       survives_reloads, 120s},
      {"threads.own-objects", "Threads that use an object each do not disturb one another.", own_objects, 60s},
  };
}

}  // namespace korvel::validate
