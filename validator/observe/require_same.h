#pragma once

#include <cstring>
#include <string_view>
#include <vector>

#include "contract/shown.h"
#include "contract/states.h"

namespace korvel::validate {

/// Equal to the last bit.
template <typename Value>
bool same(const Value& a, const Value& b) {
  return std::memcmp(&a, &b, sizeof(a)) == 0;
}

/// Returns the place of the first of `count` numbers that differs in its bits, or `count`. Every NaN is the same,
/// because compilers choose which of two operands gives it its sign.
std::ptrdiff_t first_difference(const float* a, const float* b, std::ptrdiff_t count);

/// Throws Finding with the first number that the robot shows and that differs from what is expected, except in some
/// results. The message says what came before, `after` in words.
void require_same(const tesk::RigidBodySystem& robot, const std::vector<float>& expected, std::string_view after,
                  const std::vector<Result>& but_for = {});
/// Does the same with what the robot has shown.
void require_same(const Layout& layout, const std::vector<float>& seen, const std::vector<float>& expected,
                  std::string_view after, const std::vector<Result>& but_for = {});

}  // namespace korvel::validate
