#include "contact/stance.h"

#include <algorithm>
#include <limits>

#include "contact/stance_in_lanes.h"

namespace korvel::contact {

namespace {

Eigen::Vector2d eigen(const GroundVector<double>& v) { return {v.x, v.y}; }

PoseT<double> plain_pose(const Eigen::Isometry3d& pose) {
  const auto row = [&](int i) { return plain(Eigen::Vector3d(pose.linear().row(i))); };
  return {row(0), row(1), row(2), plain(Eigen::Vector3d(pose.translation()))};
}

/// The distance of a sole's centre of pressure from the boundary of its corners that bear.
double inside(const StanceInLanes<double>& at, const SoleInLanes<double>& sole) {
  std::vector<GroundVector<double>> points;
  for (std::size_t c = sole.entry->first_corner; c < sole.entry->end_corner; ++c) {
    if (at.loads.points[c].compliance > 0) points.push_back(in_ground(at.place_of(c)) - sole.pressure);
  }
  return points.empty() ? 0 : support_margin(points).distance;
}

}  // namespace

Stance stance(const StanceProblem& problem) {
  const auto& [soles, states, required_world, com_world, ground, weight, level] = problem;
  const SoleTable table = table_of(soles);
  StanceInLanes<double> at(table);
  for (std::size_t i = 0; i < soles.size(); ++i) {
    at.place(at.soles[i], plain_pose(states[i].pose_world));
    at.soles[i].share = states[i].share;
  }
  at.prepare({{plain(required_world.force), plain(required_world.moment)}, plain(com_world), ground, weight, level});
  NearestForces<double>(table.frictions).find({&at.loads});
  at.conclude();

  Stance result{static_cast<Verdict>(at.verdict), at.residual, {}, eigen(at.zmp), at.margin.distance,
                eigen(at.margin.excess),          at.loads};
  for (const SoleInLanes<double>& sole : at.soles) {
    const Wrench load{vector(sole.load_world.force), vector(sole.load_world.moment)};
    result.soles.push_back({load, eigen(sole.pressure), sole.friction, inside(at, sole)});
  }
  return result;
}

double least_friction(Loads<double> loads, double known) {
  constexpr double most = 100;
  if (known > most) return known;
  const auto residual = [&](double friction) {
    NearestForces<double>(std::vector<double>(loads.points.size(), friction)).find({&loads});
    return loads.residual();
  };
  // Friction is not asked to carry what it cannot, within the residual that counts as supported.
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
