#pragma once

#include <vector>

#include "contact/distribution.h"
#include "states/states.h"

namespace korvel::tests {

/// Two feet on the ground and a wrench that they may have to bear, about the point between them.
struct DistributionCase {
  static constexpr double weight = 52;  // [N]

  contact::Wrench wrench;
  std::vector<contact::ContactPoint> points;
};

/// About half of them can be borne: some easily, many on the edge of a cone or of a foot.
inline DistributionCase distribution_case(std::uint64_t seed) {
  Random random(seed);
  const auto vector = [&](double magnitude) -> Eigen::Vector3d {
    Eigen::Vector3f v;
    random.fill(v, 1);
    return magnitude * v.cast<double>();
  };
  const double wildness = std::abs(random(1));
  const double friction = std::abs(random(1));
  DistributionCase result;
  for (const double y : {0.05, -0.05}) {
    const double place = 0.1 * static_cast<double>(random(1));
    const double compliance = std::max(contact::least_compliance, std::abs(static_cast<double>(random(1))));
    for (const double dx : {-0.05, 0.1}) {
      for (const double dy : {-0.04, 0.04}) {
        result.points.push_back({{place + dx, y + dy, 0.003 * static_cast<double>(random(1))}, {friction}, compliance});
      }
    }
  }
  const double weight = DistributionCase::weight;
  result.wrench.force = weight * (Eigen::Vector3d::UnitZ() + wildness * vector(1));
  result.wrench.moment = 0.1 * weight * wildness * vector(1.5);
  return result;
}

}  // namespace korvel::tests
