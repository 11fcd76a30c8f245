#include "bench/robot.h"

#include "metapod/models/korvel/robot.h"

namespace korvel::bench {

namespace {

Eigen::Vector3d vector(const metapod::Spatial::Vector3& v) { return Eigen::Vector3f(v.x, v.y, v.z).cast<double>(); }

Body body(const metapod::models::BodyDescription& description) {
  const auto& [name, parent, E, r, inertia] = description;
  const auto mass = static_cast<double>(inertia.m);
  Body body{name, parent, {}, vector(r), mass, vector(inertia.h) / mass};
  // The table has E, which turns the other way.
  body.R_PB << vector(E.column0).transpose(), vector(E.column1).transpose(), vector(E.column2).transpose();
  return body;
}

}  // namespace

const std::vector<Body>& robot() {
  static const std::vector<Body> bodies = [] {
    std::vector<Body> result;
    for (const auto& description : metapod::models::KorvelRobot::bodies) result.push_back(body(description));
    return result;
  }();
  return bodies;
}

}  // namespace korvel::bench
