#include "host/replay/apart.h"

#include <fmt/format.h>
#include <sys/mman.h>

#include <chrono>
#include <new>
#include <system_error>

#include "host/io/error.h"
#include "host/robot/child_process.h"

namespace korvel::host {

namespace {

/// What both processes see.
class SharedPlace {
 public:
  SharedPlace() : memory_(mmap(nullptr, sizeof(Place), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0)) {
    if (memory_ == MAP_FAILED) throw std::system_error(errno, std::generic_category(), "memory");
    place_ = new (memory_) Place{};
  }
  SharedPlace(const SharedPlace&) = delete;
  SharedPlace& operator=(const SharedPlace&) = delete;
  ~SharedPlace() { munmap(memory_, sizeof(Place)); }

  Place& operator*() const { return *place_; }

 private:
  void* memory_;
  Place* place_ = nullptr;
};

}  // namespace

std::variant<std::string, Crash> apart(const std::function<std::string(Place& now)>& task) {
  // As long as it takes: what hangs here the user ends.
  constexpr std::chrono::hours limit{24 * 365};
  constexpr char good = '+';
  constexpr char bad = '-';
  constexpr char thrown = '!';
  const SharedPlace now;
  ChildProcess child(
      [&] {
        try {
          return good + task(*now);
        } catch (const Error& error) {
          return bad + std::string(error.what());
        } catch (const std::exception& error) {
          return thrown + fmt::format("it threw: {}", error.what());
        }
      },
      limit);
  const ChildProcess::End end = child.wait();
  if (!end.answered) return Crash{*now, end.text};
  if (end.text.front() == thrown) return Crash{*now, end.text.substr(1)};
  if (end.text.front() == bad) throw Error(end.text.substr(1));
  return end.text.substr(1);
}

}  // namespace korvel::host
