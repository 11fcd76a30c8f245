#pragma once

#include <vector>

#include "contact/distribution.h"
#include "contract/states.h"

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
  const double wildness = std::abs(static_cast<double>(random(1)));
  const double friction = std::abs(static_cast<double>(random(1)));
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

inline constexpr int family_count = 14;

/// The same in what is hard in some way, a family each.
inline DistributionCase hard_case(int family, std::uint64_t seed) {
  DistributionCase result = distribution_case(seed);
  Random random(~seed);
  const auto number = [&](double magnitude) { return magnitude * static_cast<double>(random(1)); };
  contact::Wrench& wrench = result.wrench;
  std::vector<contact::ContactPoint>& points = result.points;
  const double friction = seed % 16 == 15 ? 0 : points.front().cone.friction;
  for (contact::ContactPoint& point : points) point.cone.friction = friction;
  const auto scale = [&](double factor) {
    wrench.force *= factor;
    wrench.moment *= factor;
  };
  /// Forces that could bear it, by the number of a point.
  const auto sum = [&](const auto& force_at) {
    wrench = {};
    for (std::size_t i = 0; i < points.size(); ++i) {
      const Eigen::Vector3d force = force_at(i);
      wrench.force += force;
      wrench.moment += points[i].position_world.cross(force);
    }
  };
  /// That slides, or nearly.
  const auto sliding = [&](double weight, double angle, double used) -> Eigen::Vector3d {
    return weight * Eigen::Vector3d(used * std::cos(angle), used * std::sin(angle), 1);
  };
  constexpr double pi = 3.14159265358979323846;
  const double angle = number(pi);
  const double weight = DistributionCase::weight;
  switch (family) {
    case 0:  // one foot
      points.resize(4);
      break;
    case 1:  // one corner
      points.resize(1);
      break;
    case 2:
      scale(0);
      break;
    case 3:
      scale(1e-9);
      break;
    case 4:
      scale(100);
      break;
    case 5:  // a pull
      wrench.force.z() *= -1;
      break;
    case 6:  // one foot only just stands
      for (std::size_t i = 0; i < points.size(); ++i) points[i].compliance = i < 4 ? 1 : contact::least_compliance;
      break;
    case 7:  // on the edges of all cones
      sum([&](std::size_t) { return sliding(std::abs(number(weight / 8)), angle, friction); });
      break;
    case 8:  // on the edge of a foot
      for (contact::ContactPoint& point : points) point.position_world.z() = 0;
      sum([&](std::size_t i) { return i < 2 ? sliding(std::abs(number(weight)), 0, 0) : Eigen::Vector3d::Zero(); });
      break;
    case 9:  // the left as the right
      for (std::size_t i = 0; i < 4; ++i) {
        points[i].position_world.z() = 0;
        points[i + 4] = points[i];
        points[i + 4].position_world.y() *= -1;
      }
      wrench.force.y() = wrench.moment.x() = wrench.moment.z() = 0;
      break;
    case 10:  // all corners on a line
      for (contact::ContactPoint& point : points) point.position_world.tail<2>().setZero();
      break;
    case 11:  // in the air
      points.clear();
      break;
    case 12:  // corners that slide everywhere
      sum([&](std::size_t) {
        const double to = number(pi);
        return sliding(std::abs(number(0.3 * weight)), to, friction);
      });
      break;
    default: {  // a corner that slides nearly, or just does
      const double used = friction + number(1e-3);
      const double load = std::abs(number(weight));
      sum([&](std::size_t i) { return i == seed % 8 ? sliding(load, angle, used) : Eigen::Vector3d::Zero(); });
    }
  }
  return result;
}

}  // namespace korvel::tests
