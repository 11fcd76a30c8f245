#include "contact/distribution.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <utility>

#include "contact/nearest_forces.h"

namespace korvel::contact {

namespace {

/// A load of length one about the point from which the arms lead, in units of moment_length.
using Load = WrenchT<double>;
using Points = std::vector<LoadedPoint<double>>;

Load missing_of(Load load, const Points& points) {
  for (const LoadedPoint<double>& point : points) load = load - wrench_of(point.arm, point.force);
  return load;
}

/// How far forces in their cones are from the nearest to a load: how much nearer another force at a point would bring
/// them, or more or less of all of them.
double error(const Load& load, const Points& points, const double* frictions) {
  const Load m = missing_of(load, points);
  double error = std::abs(dot(m.force, load.force - m.force) + dot(m.moment, load.moment - m.moment));
  for (std::size_t i = 0; i < points.size(); ++i) {
    if (!(points[i].compliance > 0)) continue;
    const Vector3T<double> felt = felt_at(points[i].arm, m);
    error = std::max(error, felt.z + frictions[i] * std::hypot(felt.x, felt.y));
  }
  return error;
}

/// How a slow iteration goes: its rho, the factor by which eps falls in a step, the share of a step that it takes, and
/// the number of steps.
struct Way {
  double rho, fall, share;
  int most_steps;
};

/// Takes the forces where it arrives, or those of the step with the least error, if that is less than `least`. Returns
/// whether it arrives.
bool goes(const Way& way, const Load& load, Points& best, const double* frictions, double& least) {
  Points points = best;
  ForceIteration<double> at(frictions, static_cast<int>(points.size()));
  at.begin(load, points.data());
  at.restart(true, {0, 0, 1});
  at.project();
  at.rho = way.rho;
  at.eps = 1e-2;
  for (int i = 0; i < way.most_steps; ++i) {
    at.step();
    at.advance(way.share);
    at.give(points.data());
    for (std::size_t p = 0; p < points.size(); ++p) {
      points[p].force = FrictionCone{frictions[p]}.nearest(points[p].force).force;
    }
    const double of_points = error(load, points, frictions);
    const bool arrives = at.has_arrived() && of_points <= 1e-6;
    if (arrives || of_points < least) {
      best = points;
      least = of_points;
    }
    if (arrives) return true;
    at.eps = std::min(at.eps, std::max({ForceIteration<double>::least_eps, way.fall * at.eps, 0.01 * at.far}));
  }
  return false;
}

}  // namespace

void distribute_slowly(const double* load, double* points, std::ptrdiff_t stride, const double* frictions, int count) {
  const auto at = [stride](auto* numbers, std::ptrdiff_t k) -> auto& { return numbers[k * stride]; };
  const auto vector_at = [&](const double* numbers, std::ptrdiff_t k) -> Vector3T<double> {
    return {at(numbers, k), at(numbers, k + 1), at(numbers, k + 2)};
  };
  constexpr std::ptrdiff_t numbers_of_point = sizeof(LoadedPoint<double>) / sizeof(double);
  constexpr std::ptrdiff_t place_of_force = offsetof(LoadedPoint<double>, force) / sizeof(double);
  const Load asked{vector_at(load, 0), vector_at(load, 3)};
  Points best;
  for (std::ptrdiff_t i = 0; i < count; ++i) {
    const std::ptrdiff_t first = i * numbers_of_point;
    const Vector3T<double> force = vector_at(points, first + place_of_force);
    best.push_back(
        {vector_at(points, first), at(points, first + 3), {}, FrictionCone{frictions[i]}.nearest(force).force});
  }
  double least = error(asked, best, frictions);
  // Where full steps run in circles, damped ones arrive. Of 105,000 hard loads one in thirty comes here. Each way
  // serves most of those that the ways before it have left.
  constexpr Way ways[] = {
      {1, 0.3, 0.7, 150}, {3, 0.7, 0.5, 200}, {0.3, 0.97, 0.3, 1500}, {0.1, 0.5, 0.3, 1500}, {100, 0.97, 0.3, 1500}};
  for (const Way& way : ways) {
    if (least <= 1e-7 || goes(way, asked, best, frictions, least)) break;
  }
  for (std::ptrdiff_t i = 0; i < count; ++i) {
    double* const force = points + (i * numbers_of_point + place_of_force) * stride;
    const Vector3T<double>& found = best[static_cast<std::size_t>(i)].force;
    at(force, 0) = found.x;
    at(force, 1) = found.y;
    at(force, 2) = found.z;
  }
}

Distribution distribute(const Wrench& wrench_world, const std::vector<ContactPoint>& points, double weight) {
  const Load in_weights{plain(wrench_world.force / weight), plain(wrench_world.moment / (weight * moment_length))};
  const double size = std::sqrt(square(in_weights));
  const double divisor = size > 0 ? size : 1;
  const Load load{in_weights.force / divisor, in_weights.moment / divisor};
  std::vector<double> frictions;
  Points loaded;
  for (const ContactPoint& point : points) {
    frictions.push_back(point.cone.friction);
    loaded.push_back({plain(point.position_world / moment_length), point.compliance, {}, {}});
  }
  LoadsInLanes<double> loads{load, loaded.data()};
  if (!points.empty()) NearestForces<double>(frictions.data(), static_cast<int>(points.size())).find(&loads, 1);
  const Load missing = missing_of(load, loaded);
  Distribution result;
  for (const LoadedPoint<double>& point : loaded) result.forces_world.emplace_back(weight * size * vector(point.force));
  result.residual = size * std::sqrt(square(missing));
  result.missing_world = {weight * size * vector(missing.force),
                          weight * size * moment_length * vector(missing.moment)};
  return result;
}

double least_friction(const Wrench& wrench_world, std::vector<ContactPoint> points, double weight, double known) {
  constexpr double most = 100;
  if (known > most) return known;
  const auto residual = [&](double friction) {
    for (ContactPoint& point : points) point.cone.friction = friction;
    return distribute(wrench_world, points, weight).residual;
  };
  // What no friction bears, within the residual that counts as borne, is not asked of it.
  double borne = 1e-6;
  if (residual(known) <= borne) return known;
  const double without_slip = residual(most);
  if (without_slip > feasible_residual) return std::numeric_limits<double>::infinity();
  borne += without_slip;
  if (residual(known) <= borne) return known;
  double below = known;
  double above = std::max(1.0, 2 * known);
  while (above < most && residual(above) > borne) {
    below = above;
    above = std::min(2 * above, most);
  }
  while (above - below > 1e-3 * above) {
    const double middle = (below + above) / 2;
    (residual(middle) <= borne ? above : below) = middle;
  }
  return above;
}

}  // namespace korvel::contact
