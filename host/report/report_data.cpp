#include "host/report/report_data.h"

namespace korvel::host {

namespace {

using Json = nlohmann::json;

Json point_of(const ResultsTable& results, const std::string& name) {
  return {results.at(name + "_x"), results.at(name + "_y"), results.at(name + "_z")};
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
                      {"origin", point_of(results, name)},
                      {"com", point_of(results, name + "_com")}});
  }
  Json joints = Json::array();
  for (unsigned long j = 0; j < system.getNbJointAngles(); ++j) {
    const std::string& name = system.getJointAngleName(j);
    joints.push_back({{"name", name}, {"body", j + 1}, {"torque", results.at(name + "_torque")}});
  }
  return {{"file", file},
          {"mass", system.getMass()},
          {"time", results.at("time")},
          {"com", point_of(results, "com")},
          {"bodies", std::move(bodies)},
          {"joints", std::move(joints)}};
}

}  // namespace korvel::host
