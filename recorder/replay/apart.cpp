#include "recorder/replay/apart.h"

#include <fmt/format.h>

#include <boost/interprocess/anonymous_shared_memory.hpp>
#include <chrono>
#include <new>

#include "host/process/child_process.h"
#include "motion/csv/error.h"

namespace korvel::host {

std::variant<std::string, Crash> apart(const std::function<std::string(CallPosition& now)>& task) {
  // There is no real limit: the user ends a call that hangs.
  constexpr std::chrono::hours limit{24 * 365};
  constexpr char good = '+';
  constexpr char bad = '-';
  constexpr char thrown = '!';
  // Both processes see this memory.
  const auto memory = boost::interprocess::anonymous_shared_memory(sizeof(CallPosition));
  auto& now = *new (memory.get_address()) CallPosition{};
  ChildProcess child(
      [&] {
        try {
          return good + task(now);
        } catch (const Error& error) {
          return bad + std::string(error.what());
        } catch (const std::exception& error) {
          return thrown + fmt::format("it threw: {}", error.what());
        }
      },
      limit);
  const ChildProcess::End end = child.wait();
  if (!end.answered) return Crash{now, end.text};
  if (end.text.front() == thrown) return Crash{now, end.text.substr(1)};
  if (end.text.front() == bad) throw Error(end.text.substr(1));
  return end.text.substr(1);
}

}  // namespace korvel::host
