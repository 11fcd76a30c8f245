#include <fmt/format.h>
#include <ucontext.h>

#include <algorithm>
#include <functional>

#include "host/validate/core/require.h"
#include "host/validate/real_time/real_time.h"
#include "states/operations.h"

namespace korvel::validate {

namespace {

/// A stack that shows how far down it has been written.
class PaintedStack {
 public:
  /// Bytes that a call needs, with the some hundred that it takes to get there.
  std::size_t needed(const std::function<void()>& call) {
    std::fill(stack_.begin(), stack_.end(), paint);
    ucontext_t here{};
    ucontext_t there{};
    getcontext(&there);
    there.uc_stack.ss_sp = stack_.data();
    there.uc_stack.ss_size = stack_.size();
    there.uc_link = &here;
    current_ = &call;
    makecontext(
        &there, [] { (*current_)(); }, 0);
    swapcontext(&here, &there);
    const auto touched = std::find_if(stack_.begin(), stack_.end(), [](unsigned char byte) { return byte != paint; });
    return static_cast<std::size_t>(stack_.end() - touched);
  }

 private:
  static constexpr unsigned char paint = 0xa5;
  static inline const std::function<void()>* current_ = nullptr;  // contexts take no pointers

  std::vector<unsigned char> stack_ = std::vector<unsigned char>(1 << 18);
};

std::string needs_little_stack(const Subject& subject) {
#ifdef KORVEL_SANITIZED
  throw NotPossible("this build has a sanitizer, whose stack frames are larger");
#endif
  constexpr std::size_t bound = 16 << 10;
  const host::System robot = create(subject);
  Arguments arguments(random_state(subject.seed, *robot), *robot);
  PaintedStack stack;
  std::size_t most = 0;
  const char* by = "";
  for (const Operation& operation : real_time_operations()) {
    const std::size_t needed = stack.needed([&] { operation.call(*robot, arguments); });
    if (needed > most) {
      most = needed;
      by = operation.name;
    }
  }
  require(most <= bound, "{} needs {} bytes of stack, bound {}", by, most, bound);
  return fmt::format("at most {} bytes, by {}, bound {}", most, by, bound);
}

}  // namespace

Checks stack_checks() {
  return {{"real-time.needs-little-stack", "No operation of a control cycle needs more than 16 KiB of stack.", 4,
           std::chrono::seconds(10), needs_little_stack}};
}

}  // namespace korvel::validate
