#pragma once

#include <cstring>
#include <string>
#include <vector>

#include "contract/shown.h"
#include "contract/states.h"

namespace korvel::validate {

/// Equal to the last bit.
template <typename Value>
bool same(const Value& a, const Value& b) {
  return std::memcmp(&a, &b, sizeof(a)) == 0;
}

/// Throws Finding with the first number that the robot shows and that differs in a bit from what is expected, but for
/// some results. The words say what came before.
void require_same(const tesk::RigidBodySystem& robot, const std::vector<float>& expected, const std::string& after,
                  const std::vector<Result>& but_for = {});
/// The same of what the robot has shown.
void require_same(const Layout& layout, const std::vector<float>& seen, const std::vector<float>& expected,
                  const std::string& after, const std::vector<Result>& but_for = {});

}  // namespace korvel::validate
