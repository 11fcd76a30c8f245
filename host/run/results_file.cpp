#include "host/run/results_file.h"

#include <fmt/format.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <utility>

#include "host/robot/description.h"
#include "host/robot/robot.h"
#include "motion/csv/error.h"

namespace korvel::host {

namespace {

using Json = nlohmann::json;

Json json(const Eigen::Vector3d& point) { return {point.x(), point.y(), point.z()}; }

Json json(const Ground& ground) {
  Json soles = Json::array();
  for (const contact::Sole& sole : ground.soles) {
    Json corners = Json::array();
    for (const Eigen::Vector3d& corner : sole.corners_body()) corners.push_back(json(corner));
    soles.push_back({{"body", sole.body()}, {"corners", std::move(corners)}, {"friction", sole.friction()}});
  }
  return {{"height", ground.height}, {"level", ground.bounds.height}, {"soles", std::move(soles)}};
}

bool is_description(const std::filesystem::path& path) {
  if (!std::filesystem::is_regular_file(path)) return false;
  std::ifstream file(path);
  const Json run = Json::parse(file, nullptr, false);
  return run.is_object() && run.value("bodies", Json()).is_array() && run.value("joints", Json()).is_array();
}

}  // namespace

std::filesystem::path description_path(const std::filesystem::path& results) {
  return std::filesystem::path(results).replace_extension(".json");
}

Json run_description(tesk::RigidBodySystem& system, const Ground* ground) {
  const double weight = weight_of(system);
  const Robot robot = read_robot(system);
  Json bodies = Json::array();
  Json joints = Json::array();
  for (const Body& body : robot.bodies) {
    if (body.parent >= 0) joints.push_back({{"name", body.joint}, {"body", bodies.size()}});
    bodies.push_back({{"name", body.name},
                      {"parent", body.parent},
                      {"mass", body.mass},
                      {"rest", json(body.position_root())},
                      {"axis", json(body.rotation_root().col(2))}});
  }
  Json run{{"mass", robot.mass}, {"weight", weight}, {"bodies", std::move(bodies)}, {"joints", std::move(joints)}};
  if (ground != nullptr) run["ground"] = json(*ground);
  return run;
}

bool ResultsFile::is_described(const std::filesystem::path& results) {
  return is_description(description_path(results));
}

ResultsFile::Paths ResultsFile::claim(const std::filesystem::path& results, Outputs& outputs) {
  Paths paths{outputs.claim(results), outputs.claim(description_path(results))};
  const OutputPath& description = paths.description;
  if (std::filesystem::exists(description.target) && !is_description(description.target)) {
    throw Error("{}: cannot write: would replace a file that describes no results; name other results or move it",
                description.named.string());
  }
  return paths;
}

std::optional<std::string> ResultsFile::add(const Sample& sample) {
  if (!std::exchange(has_header_, true)) results_.write(fmt::format("{}\n", fmt::join(results_columns(sample), ",")));
  const Row row = results_row(sample);
  results_.write(row.text + '\n');
  return row.first_not_finite ? std::optional(results_columns(sample)[*row.first_not_finite]) : std::nullopt;
}

void ResultsFile::describe(const Json& description) {
  description_.emplace(paths_.description);
  description_->write(json_text(description));
  description_->close();
}

void ResultsFile::commit() {
  description_->commit();
  results_.commit();
}

}  // namespace korvel::host
