#include "host/report/report_data.h"

#include "host/results/columns.h"

namespace korvel::host {

namespace {

using Json = nlohmann::json;

/// The values over time of a quantity, of each column if it has several.
Json values(const ResultsTable& results, const Quantity& quantity, const std::string& owner = {}) {
  Json columns = Json::array();
  for (const std::string& column : columns_of(quantity, owner)) columns.push_back(results.at(column));
  return quantity.is_point ? columns : columns.front();
}

}  // namespace

Json report_data(const std::string& file, const tesk::RigidBodySystem& system, const ResultsTable& results) {
  const auto parents = system.getParentsVector();
  Json bodies = Json::array();
  for (unsigned long b = 0; b < system.getNbBodies(); ++b) {
    const std::string& name = system.getBodyName(b);
    const QZ::Math::Transform& rest = system.getPoseInRoot(b);
    bodies.push_back({{"name", name},
                      {"parent", parents[b]},
                      {"mass", system.getMass(b)},
                      {"rest", {rest.tx, rest.ty, rest.tz}},
                      {"origin", values(results, quantities::origin, name)},
                      {"com", values(results, quantities::body_com, name)}});
  }
  Json joints = Json::array();
  for (unsigned long j = 0; j < system.getNbJointAngles(); ++j) {
    const std::string& name = system.getJointAngleName(j);
    joints.push_back({{"name", name}, {"body", j + 1}, {"torque", values(results, quantities::torque, name)}});
  }
  return {{"file", file},
          {"mass", system.getMass()},
          {"time", values(results, quantities::time)},
          {"com", values(results, quantities::com)},
          {"bodies", std::move(bodies)},
          {"joints", std::move(joints)}};
}

}  // namespace korvel::host
