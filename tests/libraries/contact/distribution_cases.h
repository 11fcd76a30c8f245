#pragma once

#include <vector>

#include "contact/nearest_forces.h"
#include "contact/verdict.h"
#include "contact/wrench.h"
#include "contract/states.h"

namespace korvel::tests {

/// Two feet on the ground and a wrench that they may have to bear, about the point between them. In units of the weight
/// and of a decimetre.
struct DistributionCase {
  struct Point {
    Eigen::Vector3d arm;
    double compliance;
  };

  contact::Wrench load;
  std::vector<Point> points;
  double friction;

  contact::Loads<double> loads() const {
    contact::Loads<double> result;
    result.set({contact::plain(load.force), contact::plain(load.moment)});
    for (const auto& [arm, compliance] : points) result.points.push_back({contact::plain(arm), compliance, {}, {}});
    return result;
  }
  contact::Loads<double> distributed() const {
    contact::Loads<double> result = loads();
    contact::NearestForces<double>(std::vector<double>(points.size(), friction)).find({&result});
    return result;
  }
};

/// About half of them can be borne: some easily, many on the edge of a cone or of a foot.
inline DistributionCase distribution_case(std::uint64_t seed) {
  Random random(seed);
  const auto number = [&](double magnitude) { return magnitude * static_cast<double>(random(1)); };
  const auto vector = [&](double magnitude) -> Eigen::Vector3d {
    Eigen::Vector3f v;
    random.fill(v, 1);
    return magnitude * v.cast<double>();
  };
  const double wildness = std::abs(number(1));
  DistributionCase result{{}, {}, std::abs(number(1))};
  for (const double y : {0.5, -0.5}) {
    const double place = number(1);
    const double compliance = std::max(contact::least_compliance, std::abs(number(1)));
    for (const double dx : {-0.5, 1.0}) {
      for (const double dy : {-0.4, 0.4}) result.points.push_back({{place + dx, y + dy, number(0.03)}, compliance});
    }
  }
  result.load = {Eigen::Vector3d::UnitZ() + wildness * vector(1), wildness * vector(1.5)};
  return result;
}

inline constexpr int family_count = 14;

/// The same in what is hard in some way, a family each.
inline DistributionCase hard_case(int family, std::uint64_t seed) {
  DistributionCase result = distribution_case(seed);
  Random random(~seed);
  const auto number = [&](double magnitude) { return magnitude * static_cast<double>(random(1)); };
  contact::Wrench& wrench = result.load;
  std::vector<DistributionCase::Point>& points = result.points;
  if (seed % 16 == 15) result.friction = 0;
  const double friction = result.friction;
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
      wrench.moment += points[i].arm.cross(force);
    }
  };
  /// Returns a force that slides, or nearly does.
  const auto sliding = [&](double load, double angle, double used) -> Eigen::Vector3d {
    return load * Eigen::Vector3d(used * std::cos(angle), used * std::sin(angle), 1);
  };
  constexpr double pi = 3.14159265358979323846;
  const double angle = number(pi);
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
      sum([&](std::size_t) { return sliding(std::abs(number(0.125)), angle, friction); });
      break;
    case 8:  // on the edge of a foot
      for (DistributionCase::Point& point : points) point.arm.z() = 0;
      sum([&](std::size_t i) { return i < 2 ? sliding(std::abs(number(1)), 0, 0) : Eigen::Vector3d::Zero(); });
      break;
    case 9:  // the left as the right
      for (std::size_t i = 0; i < 4; ++i) {
        points[i].arm.z() = 0;
        points[i + 4] = points[i];
        points[i + 4].arm.y() *= -1;
      }
      wrench.force.y() = wrench.moment.x() = wrench.moment.z() = 0;
      break;
    case 10:  // all corners on a line
      for (DistributionCase::Point& point : points) point.arm.tail<2>().setZero();
      break;
    case 11:  // in the air
      points.clear();
      break;
    case 12:  // corners that slide everywhere
      sum([&](std::size_t) {
        const double to = number(pi);
        return sliding(std::abs(number(0.3)), to, friction);
      });
      break;
    default: {  // a corner that slides nearly, or just does
      const double used = friction + number(1e-3);
      const double load = std::abs(number(1));
      sum([&](std::size_t i) { return i == seed % 8 ? sliding(load, angle, used) : Eigen::Vector3d::Zero(); });
    }
  }
  return result;
}

}  // namespace korvel::tests
