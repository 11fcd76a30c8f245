#include "contact/stance.h"

#include "contact/stance_in_lanes.h"

namespace korvel::contact {

namespace {

Eigen::Vector2d in_ground(const GroundVector<double>& v) { return {v.x, v.y}; }
Wrench wrench(const WrenchT<double>& w) { return {vector(w.force), vector(w.moment)}; }

PoseT<double> plain_pose(const Eigen::Isometry3d& pose) {
  const auto row = [&](int i) { return plain(Eigen::Vector3d(pose.linear().row(i))); };
  return {row(0), row(1), row(2), plain(Eigen::Vector3d(pose.translation()))};
}

/// The distance of the centre of pressure from the boundary of the corners that bear.
double inside(const StanceInLanes<double>& at, const SoleEntry& entry, const GroundVector<double>& pressure) {
  std::vector<GroundVector<double>> points;
  for (int c = entry.first_corner; c < entry.end_corner; ++c) {
    if (!(at.point(c).compliance > 0)) continue;
    points.push_back({at.corner(c).x - pressure.x, at.corner(c).y - pressure.y});
  }
  return points.empty() ? 0 : support_margin(points.data(), static_cast<int>(points.size())).distance;
}

}  // namespace

Eigen::Isometry3d rigid(const Eigen::Isometry3d& pose) {
  const PoseT<double> found = rigid(plain_pose(pose));
  Eigen::Isometry3d result = pose;
  result.linear() << vector(found.row0).transpose(), vector(found.row1).transpose(), vector(found.row2).transpose();
  return result;
}

Stance stance(const StanceProblem& problem) {
  const auto& [soles, states, required_world, com_world, ground, weight, level] = problem;
  const TabulatedSoles tabulated(soles);
  const SoleTable table = tabulated.table();
  StanceInLanes<double> at(table);
  for (int i = 0; i < table.sole_count; ++i) {
    const SoleState& state = states[static_cast<std::size_t>(i)];
    at.place(i, plain_pose(state.pose_world));
    at.sole(i).contact = state.contact;
    at.sole(i).share = state.share;
  }
  at.prepare({{plain(required_world.force), plain(required_world.moment)}, plain(com_world), ground, weight, level});
  LoadsInLanes<double> loads = at.loads();
  NearestForces<double>(table.frictions, table.corner_count).find(&loads, 1);
  at.conclude();

  Stance result;
  result.verdict = static_cast<Verdict>(at.verdict);
  result.residual = at.residual;
  result.zmp_world = in_ground(at.zmp);
  result.margin = at.margin.distance;
  result.excess_world = in_ground(at.margin.excess);
  result.required_world = wrench(at.required);
  for (int i = 0; i < table.sole_count; ++i) {
    const SoleInLanes<double>& sole = at.sole(i);
    result.soles.push_back(
        {wrench(sole.load_world), in_ground(sole.pressure), sole.friction, inside(at, table.soles[i], sole.pressure)});
  }
  for (int c = 0; c < table.corner_count; ++c) {
    const LoadedPoint<double>& point = at.point(c);
    if (!(point.compliance > 0)) continue;
    result.points.push_back({moment_length * vector(point.arm), {table.frictions[c]}, point.compliance});
  }
  return result;
}

}  // namespace korvel::contact
