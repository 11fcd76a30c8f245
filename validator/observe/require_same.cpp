#include "validator/observe/require_same.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "validator/core/check.h"

namespace korvel::validate {

std::ptrdiff_t first_difference(const float* a, const float* b, std::ptrdiff_t count) {
  if (std::memcmp(a, b, static_cast<std::size_t>(count) * sizeof(float)) == 0) return count;
  const auto alike = [](float x, float y) { return same(x, y) || (std::isnan(x) && std::isnan(y)); };
  return std::mismatch(a, a + count, b, alike).first - a;
}

void require_same(const Layout& layout, const std::vector<float>& seen, const std::vector<float>& expected,
                  std::string_view after, const std::vector<Result>& but_for) {
  for (const ResultEntry& result : all_results) {
    if (std::find(but_for.begin(), but_for.end(), result.result) != but_for.end()) continue;
    const auto [first, last] = layout[result.result];
    const std::ptrdiff_t place = first_difference(seen.data() + first, expected.data() + first, last - first);
    if (place == last - first) continue;
    const auto i = static_cast<std::size_t>(first + place);
    const std::ptrdiff_t length = layout.length(result.result);
    const std::string name = fmt::format(fmt::runtime(result.number), place % length, place / length);
    throw Finding(fmt::format("after {}: {} is {:.9g}, expected {:.9g}", after, name, seen[i], expected[i]));
  }
}

void require_same(const tesk::RigidBodySystem& robot, const std::vector<float>& expected, std::string_view after,
                  const std::vector<Result>& but_for) {
  require_same(Layout(robot), everything_readable(robot), expected, after, but_for);
}

}  // namespace korvel::validate
