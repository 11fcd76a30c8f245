#include "validator/observe/require_same.h"

#include <algorithm>

#include "validator/core/check.h"

namespace korvel::validate {

void require_same(const Layout& layout, const std::vector<float>& seen, const std::vector<float>& expected,
                  const std::string& after, const std::vector<Result>& but_for) {
  for (const ResultEntry& result : all_results) {
    if (std::find(but_for.begin(), but_for.end(), result.result) != but_for.end()) continue;
    const auto [first, last] = layout[result.result];
    const std::ptrdiff_t length = layout.length(result.result);
    for (auto place = first; place < last; ++place) {
      const auto i = static_cast<std::size_t>(place);
      require(same(seen[i], expected[i]), "after {}: {} {}, number {}, is {:.9g}, expected {:.9g}", after, result.piece,
              (place - first) / length, (place - first) % length, seen[i], expected[i]);
    }
  }
}

void require_same(const tesk::RigidBodySystem& robot, const std::vector<float>& expected, const std::string& after,
                  const std::vector<Result>& but_for) {
  require_same(Layout(robot), everything_readable(robot), expected, after, but_for);
}

}  // namespace korvel::validate
