#include "recorder/module/recorder.h"

#include <pthread.h>

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

/// Megabytes, from the environment. Throws std::runtime_error.
std::uint64_t limit() {
  const char* text = secure_getenv("KORVEL_RECORD_LIMIT");
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
  // The mutex ensures that no thread is making a recording when the process is copied.
  pthread_atfork([] { get().mutex_.lock(); },
                 [] {
                   get().has_forked_ = get().has_forked_ || get().writer() != nullptr;
                   get().mutex_.unlock();
                 },
                 [] {
                   // The file and its blocks are the parent's.
                   const bool was_recorded = get().recording_.exchange(nullptr) != nullptr;
                   if (was_recorded && !get().has_forked_) say("the process has forked: its children are not recorded");
                   get().mutex_.unlock();
                 });
}

void Recorder::end() noexcept {
  {
    const std::lock_guard lock(mutex_);
    has_ended_ = true;
    if (RecordingWriter* writer = recording_.exchange(nullptr)) writer->end(objects_ > 0);
  }
  // Objects may be there at the end of the process, and threads that call them. The last one releases the rest.
  release();
}

void Recorder::release() noexcept {
  const std::lock_guard lock(mutex_);
  if (objects_ > 0) return;
  writer_.reset();
  module_.reset();
  inertias_.reset();
}

void Recorder::add_object() {
  const std::lock_guard lock(mutex_);
  if (!module_) module_ = std::make_unique<RealModule>();
  if (!size_) begin(*create());
  objects_.fetch_add(1);
}

void Recorder::begin(tesk::RigidBodySystem& robot) {
  size_.emplace(robot);
  inertias_.emplace(*size_, Resources{Resource::inertias});
  const char* folder = secure_getenv("KORVEL_RECORD_TO");
  try {
    if (folder == nullptr || *folder == '\0') throw std::runtime_error("KORVEL_RECORD_TO names no folder");
    writer_ = std::make_unique<RecordingWriter>(folder, limit(), description(*module_, robot));
    recording_.store(writer_.get(), std::memory_order_release);
  } catch (const std::exception& error) {
    say(std::string("nothing is recorded: ") + error.what());
  }
}

}  // namespace korvel::record
