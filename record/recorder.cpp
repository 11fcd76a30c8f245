#include "record/recorder.h"

#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <stdexcept>
#include <string>

namespace korvel::record {

namespace {

Recorder recorder;

/// In one piece: other threads write there, too.
void say(const std::string& text) {
  const std::string line = "korvel recorder: " + text + '\n';
  [[maybe_unused]] const ssize_t ignored = ::write(STDERR_FILENO, line.data(), line.size());
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

Recorder& Recorder::get() { return recorder; }

Recorder::Recorder() {
  pthread_atfork(nullptr, nullptr, [] { recorder.forked(); });
}

void Recorder::forked() noexcept {
  if (session_ == nullptr) return;
  spare_ = nullptr;
  session_->forked();
}

Recorder::~Recorder() {
  set_spare(nullptr);
  if (session_ != nullptr) session_->end();
  // Objects may be there at the end of the process, and threads that call them.
  if (objects_ == 0) {
    delete session_;
  } else {
    static_cast<void>(module_.release());
  }
}

std::unique_ptr<tesk::RigidBodySystem> Recorder::create() {
  if (!module_) module_ = std::make_unique<RealModule>();
  std::unique_ptr<tesk::RigidBodySystem> robot(module_->create());
  if (!has_begun_) begin(*robot);
  return robot;
}

void Recorder::begin(tesk::RigidBodySystem& robot) {
  inertias_.resize(robot.getNbBodies());
  recording::all_operations();
  const char* folder = std::getenv("KORVEL_RECORD_TO");
  has_begun_ = true;
  try {
    if (folder == nullptr || *folder == '\0') throw std::runtime_error("KORVEL_RECORD_TO names no folder");
    session_ = new Session(folder, limit(), description(*module_, robot));
  } catch (const std::exception& error) {
    say(std::string("nothing is recorded: ") + error.what());
  }
}

}  // namespace korvel::record
