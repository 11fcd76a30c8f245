#include "batch/threads.h"

#include <pthread.h>
#include <sched.h>

#include <atomic>
#include <condition_variable>
#include <csignal>
#include <exception>
#include <list>
#include <new>

namespace korvel::batch {

namespace {

/// The processors that this process may use.
int usable_processors() noexcept {
  // One set has room for 1024 processors, which large machines have more of.
  cpu_set_t sets[64];
  return sched_getaffinity(0, sizeof sets, sets) == 0 ? CPU_COUNT_S(sizeof sets, sets) : 1;
}

/// The number of forks between this process and the one that loaded the library.
std::atomic<int> forks{0};

/// Twice what a call needs, whatever the process gives other threads.
constexpr std::size_t stack_size = 512 << 10;

}  // namespace

std::mutex taken_before_forks;

struct Threads::Pool {
  /// A call whose parts are handed out one after the other. It lives on the stack of its caller.
  struct Job {
    const std::function<void(std::ptrdiff_t)>& work;
    const std::ptrdiff_t parts;
    std::ptrdiff_t next = 0;  ///< the part to be handed out next
    int at_work = 0;          ///< number of threads at work
    std::exception_ptr failure{};
    std::condition_variable done{};
  };

  /// Makes as many workers as the system grants. They block all signals, which are the process's own.
  explicit Pool(std::size_t worker_count) {
    workers.reserve(worker_count);
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, &before);
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, stack_size);
    pthread_t worker{};
    while (workers.size() < worker_count && pthread_create(&worker, &attributes, serve, this) == 0) {
      workers.push_back(worker);
    }
    pthread_attr_destroy(&attributes);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
  }

  Pool(const Pool&) = delete;
  Pool& operator=(const Pool&) = delete;
  ~Pool() {
    {
      const std::lock_guard<std::mutex> lock(mutex);
      ends = true;
    }
    is_needed.notify_all();
    for (const pthread_t worker : workers) pthread_join(worker, nullptr);
  }

  void run(Job& job) {
    std::unique_lock<std::mutex> lock(mutex);
    jobs.push_front(&job);
    const auto helpers = std::min(static_cast<std::size_t>(job.parts - 1), workers.size());
    for (std::size_t i = 0; i < helpers; ++i) is_needed.notify_one();
    work_on(job, lock);
    job.done.wait(lock, [&job] { return job.at_work == 0; });
    if (job.failure != nullptr) std::rethrow_exception(job.failure);
  }

  /// Works on a job until no part of it is left.
  void work_on(Job& job, std::unique_lock<std::mutex>& lock) {
    ++job.at_work;
    while (job.next < job.parts) {
      const std::ptrdiff_t part = job.next++;
      if (job.next == job.parts) jobs.remove(&job);
      lock.unlock();
      try {
        job.work(part);
        lock.lock();
      } catch (...) {
        lock.lock();
        job.failure = std::current_exception();
        job.next = job.parts;
        jobs.remove(&job);
      }
    }
    if (--job.at_work == 0) job.done.notify_one();
  }

  static void* serve(void* of_pool) {
    auto& pool = *static_cast<Pool*>(of_pool);
    std::unique_lock<std::mutex> lock(pool.mutex);
    while (!pool.ends) {
      if (pool.jobs.empty()) {
        pool.is_needed.wait(lock);
      } else {
        pool.work_on(*pool.jobs.front(), lock);
      }
    }
    return nullptr;
  }

  const int made_after = forks;
  std::mutex mutex;
  std::condition_variable is_needed;
  std::list<Job*> jobs;  ///< those that have parts left
  bool ends = false;
  std::vector<pthread_t> workers;
};

Threads::Threads(int count) {
  [[maybe_unused]] static const bool is_watched = [] {
    const auto in_parent = [] { taken_before_forks.unlock(); };
    const auto in_child = [] {
      ++forks;
      taken_before_forks.unlock();
    };
    if (pthread_atfork([] { taken_before_forks.lock(); }, in_parent, in_child) != 0) throw std::bad_alloc();
    return true;
  }();
  const int wanted = count == 0 ? usable_processors() : count;
  if (wanted > 1) pool_ = std::make_unique<Pool>(static_cast<std::size_t>(wanted - 1));
}

Threads::~Threads() {
  // The pool's destructor would wait for threads that do not exist in the child of a fork.
  if (works_alone()) static_cast<void>(pool_.release());
}

int Threads::count() const noexcept { return works_alone() ? 1 : static_cast<int>(pool_->workers.size()) + 1; }

bool Threads::works_alone() const noexcept { return pool_ == nullptr || pool_->made_after != forks; }

void Threads::run(std::ptrdiff_t parts, const std::function<void(std::ptrdiff_t)>& work) const {
  if (parts > 1 && !works_alone()) {
    Pool::Job job{work, parts};
    return pool_->run(job);
  }
  for (std::ptrdiff_t part = 0; part < parts; ++part) work(part);
}

}  // namespace korvel::batch
