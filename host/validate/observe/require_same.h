#pragma once

#include <string>
#include <vector>

#include "states/shown.h"

namespace korvel::validate {

/// Equal to the last bit.
bool same(float a, float b);
bool same(const QZ::Math::Transform& a, const QZ::Math::Transform& b);
bool same(const QZ::Math::Position3D& a, const QZ::Math::Position3D& b);

/// Throws Finding with the first number that the robot shows and that differs in a bit from what is expected, but for
/// some results. The words say what came before.
void require_same(const tesk::RigidBodySystem& robot, const std::vector<float>& expected, const std::string& after,
                  const std::vector<Result>& but_for = {});
/// The same of what the robot has shown.
void require_same(const Layout& layout, const std::vector<float>& seen, const std::vector<float>& expected,
                  const std::string& after, const std::vector<Result>& but_for = {});

}  // namespace korvel::validate
