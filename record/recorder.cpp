#include "record/recorder.h"

#include <pthread.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>
#include <string>

namespace korvel::record {

namespace {

/// Lasts longer than the process's static objects: some of those may be robots, and threads may call others.
union Lasting {
  Lasting() : recorder() {}
  Lasting(const Lasting&) = delete;
  Lasting& operator=(const Lasting&) = delete;
  ~Lasting() { recorder.end(); }

  Recorder recorder;
};

Lasting lasting;

/// In one piece: other threads write there, too.
void say(const std::string& text) {
  const std::string line = "korvel recorder: " + text + '\n';
  [[maybe_unused]] const ssize_t ignored = ::write(STDERR_FILENO, line.data(), line.size());
}

/// A child of the process may be elsewhere.
std::string absolute(const char* folder) {
  const std::unique_ptr<char, void (*)(void*)> real(realpath(folder, nullptr), std::free);
  return real ? real.get() : folder;
}

/// Megabytes, from the environment. Throws std::runtime_error.
std::uint64_t limit() {
  const char* text = std::getenv("KORVEL_RECORD_LIMIT");
  if (text == nullptr || *text == '\0') return 0;
  char* end = nullptr;
  const unsigned long long megabytes = std::strtoull(text, &end, 10);
  if (*end != '\0' || *text < '1' || *text > '9' || megabytes > 1'000'000) {
    throw std::runtime_error("KORVEL_RECORD_LIMIT is '" + std::string(text) + "', expected megabytes, 1 to 1000000");
  }
  return megabytes << 20;
}

}  // namespace

Recorder& Recorder::get() { return lasting.recorder; }

Recorder::Recorder() {
  // Nobody is in the middle of making a recording when the process is copied.
  pthread_atfork([] { get().mutex_.lock(); }, [] { get().mutex_.unlock(); },
                 [] {
                   if (Session* session = get().session()) session->forked();
                   get().mutex_.unlock();
                 });
}

void Recorder::end() noexcept {
  {
    const std::lock_guard lock(mutex_);
    has_ended_ = true;
    if (Session* session = recording_.exchange(nullptr)) session->end(objects_ > 0);
  }
  // Objects may be there at the end of the process, and threads that call them. The last one releases the rest.
  release();
}

void Recorder::release() noexcept {
  const std::lock_guard lock(mutex_);
  if (objects_ > 0) return;
  session_.reset();
  module_.reset();
  std::vector<Input>().swap(inertias_);
}

void Recorder::add_object() {
  const std::lock_guard lock(mutex_);
  if (!module_) module_ = std::make_unique<RealModule>();
  if (!size_) begin(*create());
  objects_.fetch_add(1);
}

void Recorder::begin(tesk::RigidBodySystem& robot) {
  size_.emplace(robot);
  inertias_.resize(robot.getNbBodies());
  recording::all_operations();
  const char* folder = std::getenv("KORVEL_RECORD_TO");
  try {
    if (folder == nullptr || *folder == '\0') throw std::runtime_error("KORVEL_RECORD_TO names no folder");
    session_ = std::make_unique<Session>(absolute(folder), limit(), description(*module_, robot));
    recording_.store(session_.get(), std::memory_order_release);
  } catch (const std::exception& error) {
    say(std::string("nothing is recorded: ") + error.what());
  }
}

}  // namespace korvel::record
