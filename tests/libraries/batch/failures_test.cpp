// Tests calls for which the system refuses memory, threads or stack.

#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <new>
#include <thread>

#include "tests/libraries/batch/dynamics_results.h"
#if defined(KORVEL_MOTIONS)
#include "korvel/motion.h"
#endif

namespace {

/// The allocation of this thread that throws, 1 being the next; 0 if none does.
thread_local int until_failure = 0;
thread_local bool throws_a_number = false;

}  // namespace

// The libraries call these too. What replaces them may throw what it likes.
[[gnu::noinline]] void* operator new(std::size_t size) {
  if (until_failure > 0 && --until_failure == 0) {
    if (throws_a_number) throw 42;
    throw std::bad_alloc();
  }
  if (void* block = std::malloc(size)) return block;
  throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* block) noexcept { std::free(block); }
[[gnu::noinline]] void operator delete(void* block, std::size_t) noexcept { std::free(block); }

namespace korvel::tests {
namespace {

TEST(Failures, OfAllocationsAreToldAndLeaveResultsAndObjectsAsTheyWere) {
  const States states = random_states(600, 40);
  const korvel_batch_input q = input(states.q);
  const std::vector<korvel_batch_wrench> wrenches = wrenches_of(states);
  Rows forces(states.count, coordinates);
  const korvel_batch_output out = output(forces);
  for (const int failed : {KORVEL_BATCH_MEMORY, KORVEL_BATCH_SYSTEM}) {
    throws_a_number = failed == KORVEL_BATCH_SYSTEM;
    int not_created = 0;
    int refused = 0;
    // The first allocation fails, then the second, and so on, until there are no more.
    for (int n = 1; until_failure == 0; ++n) {
      korvel_batch* batch = nullptr;
      korvel_batch_force_sums sums;
      const auto call = [&] {
        return korvel_batch_dynamics(batch, states.count, &q, &q, &q, wrenches.data(), bodies, nullptr, &out, &sums);
      };
      std::fill(forces.values.begin(), forces.values.end(), 77.0F);
      until_failure = n;
      int status = korvel_batch_create(&batch, 2, nullptr);
      if (status != KORVEL_BATCH_OK) {
        EXPECT_EQ(status, failed);
        ++not_created;
        continue;
      }
      status = call();
      if (status != KORVEL_BATCH_OK) {
        EXPECT_EQ(status, failed);
        ++refused;
        for (const float value : forces.values) ASSERT_EQ(value, 77.0F) << "refused, and written";
        EXPECT_EQ(call(), KORVEL_BATCH_OK);
      }
      korvel_batch_destroy(batch);
    }
    until_failure = 0;
    EXPECT_GT(not_created, 0);
    EXPECT_GT(refused, 2);
  }
}

// Standing allocates while it computes.
TEST(Failures, OfAllocationsWhileItStandsAreTold) {
  const States states = random_states(40, 2);
  const korvel_batch_input q = input(states.q);
  Rows forces(states.count, coordinates);
  const float corners[] = {0, 0, 0, 0.1F, 0, 0, 0, 0.1F, 0};
  const korvel_batch_sole sole{13, 0.6F, corners, 3};
  const float in_contact = 1;
  const korvel_batch_ground ground{0, &sole, 1, {&in_contact, 0, sizeof(float), 0}};
  const korvel_batch_stand_results results{output(forces), {}, {}, {}, {}, {}, {}};
  korvel_batch* batch = nullptr;
  ASSERT_EQ(korvel_batch_create(&batch, 1, nullptr), KORVEL_BATCH_OK);
  throws_a_number = false;
  int refused = 0;
  for (int n = 1; until_failure == 0; ++n) {
    until_failure = n;
    const int status = korvel_batch_stand(batch, states.count, &q, &q, &q, &ground, &results, nullptr);
    if (until_failure == 0) {
      EXPECT_EQ(status, KORVEL_BATCH_MEMORY) << n;
    }
    refused += status == KORVEL_BATCH_OK ? 0 : 1;
  }
  until_failure = 0;
  EXPECT_GT(refused, 2);
  korvel_batch_destroy(batch);
}

#if defined(KORVEL_MOTIONS)
TEST(Failures, OfAllocationsInMotionsAreTold) {
  korvel_motion* motion = nullptr;
  for (const bool with_a_number : {false, true}) {
    throws_a_number = with_a_number;
    for (const int n : {1, 2, 3, 10, 100}) {
      until_failure = n;
      const int status = korvel_motion_read(&motion, KORVEL_MOTIONS "/wave.csv", 0);
      until_failure = 0;
      EXPECT_EQ(status, with_a_number ? KORVEL_MOTION_FILE : KORVEL_MOTION_MEMORY) << n << korvel_motion_error();
    }
  }
  EXPECT_EQ(motion, nullptr);
}
#endif

/// The exit status of a child that does `work`; above 1000 if a signal ends it.
template <typename Work>
int status_of_child(const Work& work) {
  const pid_t child = fork();
  if (child == 0) {
    alarm(100);
    _exit(work());
  }
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
}

// The limit of a user is none for root.
TEST(Failures, OfThreadsLeaveTheCallingOne) {
  const States states = random_states(1200, 50);
  const Results expected = batch_results(Batch(1), states);
  EXPECT_EQ(status_of_child([&] {
              const rlimit none{0, 0};
              if (setrlimit(RLIMIT_NPROC, &none) != 0 || (getuid() == 0 && setuid(65534) != 0)) return 2;
              const Batch batch(8);
              return batch.threads() == 1 && count_different(batch_results(batch, states), expected) == 0 ? 0 : 1;
            }),
            0);
}

#if !defined(KORVEL_SANITIZED)
void stand_on_a_triangle(const Batch& batch, const States& states) {
  const float corners[] = {0, 0, 0, 0.1F, 0, 0, 0, 0.1F, 0};
  const korvel_batch_sole sole{13, 0.6F, corners, 3};
  const float stands[] = {1};
  const korvel_batch_input q = input(states.q);
  static_cast<void>(batch.stand_sums(states.count, q, q, q, {0, &sole, 1, {stands, 0, sizeof(float), 0}}));
}

// The process gives its threads little stack, and a signal that ends it waits for a thread that lets it through.
TEST(Failures, OfStacksAndSignalsOfTheProcessDoNotReachThreads) {
  const States states = random_states(400, 60);
  EXPECT_EQ(status_of_child([&] {
              pthread_attr_t small;
              pthread_attr_init(&small);
              pthread_attr_setstacksize(&small, 96 << 10);
              if (pthread_setattr_default_np(&small) != 0) return 2;
              const Batch batch(4);
              sigset_t signals;
              sigemptyset(&signals);
              sigaddset(&signals, SIGUSR1);
              pthread_sigmask(SIG_BLOCK, &signals, nullptr);
              kill(getpid(), SIGUSR1);
              stand_on_a_triangle(batch, states);
              sigpending(&signals);
              return batch.threads() == 4 && sigismember(&signals, SIGUSR1) == 1 ? 0 : 1;
            }),
            0);
}

// The stack is as large as the header says, for results that no cache holds, which go through the stack.
TEST(Failures, OfStacksDoNotHappenWithAsMuchAsIsPromised) {
  static const States states = random_states(3300, 60);
  for (const std::string& set : instruction_sets()) {
    static std::unique_ptr<Batch> batch;
    batch = std::make_unique<Batch>(1, set.c_str());
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, 256 << 10), 0);
    pthread_t thread{};
    const auto calls = [](void*) -> void* {
      batch_results(*batch, states);
      dynamics_results(*batch, random_states(40, 60));
      stand_on_a_triangle(*batch, random_states(40, 60));
      return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, &attributes, calls, nullptr), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
  }
}

// Some forks come while other threads hold the locks of pools, make and end them. Sanitizers do not follow a process
// with threads into a fork: their locks, or those of their allocator, may stay locked in the child.
TEST(Failures, OfThreadsInAForkLeaveTheChildAbleToCompute) {
  const States states = random_states(600, 900);
  const Results expected = batch_results(Batch(1), states);
  auto batch = std::make_unique<Batch>(2);
  std::atomic<bool> done{false};
  std::vector<std::thread> callers;
  for (int i = 0; i < 2; ++i) {
    callers.emplace_back([&] {
      while (!done) batch_results(Batch(2), states);
    });
  }
  for (int i = 0; i < 12; ++i) {
    EXPECT_EQ(status_of_child([&] {
                std::size_t different = count_different(batch_results(*batch, states), expected);
                different += count_different(batch_results(Batch(2), states), expected);
                const bool is_alone = batch->threads() == 1;
                batch.reset();
                return different == 0 && is_alone ? 0 : 1;
              }),
              0);
  }
  done = true;
  for (std::thread& caller : callers) caller.join();
  EXPECT_EQ(count_different(batch_results(*batch, states), expected), 0U) << "in the parent, after all";
}

// Each takes the addresses of its stack.
TEST(Failures, OfSomeThreadsLeaveTheOthers) {
  const States states = random_states(1200, 50);
  const Results expected = batch_results(Batch(1), states);
  EXPECT_EQ(status_of_child([&] {
              long pages = 0;
              std::FILE* file = std::fopen("/proc/self/statm", "r");
              if (file == nullptr || std::fscanf(file, "%ld", &pages) != 1) return 2;
              const auto used = static_cast<rlim_t>(pages * sysconf(_SC_PAGESIZE));
              const rlimit few{used + (9 << 18), RLIM_INFINITY};
              if (setrlimit(RLIMIT_AS, &few) != 0) return 3;
              const Batch batch(64);
              if (batch.threads() < 2 || batch.threads() > 63) return 4;
              const rlimit unlimited{RLIM_INFINITY, RLIM_INFINITY};
              setrlimit(RLIMIT_AS, &unlimited);
              return count_different(batch_results(batch, states), expected) == 0 ? 0 : 1;
            }),
            0);
}
#endif

}  // namespace
}  // namespace korvel::tests
