#include "host/report/report_data.h"

#include <fmt/format.h>

#include <algorithm>
#include <string>
#include <vector>

#include "host/ground/ground.h"
#include "host/io/samples.h"
#include "host/report/packed_columns.h"
#include "host/report/thinning.h"
#include "host/results/columns.h"
#include "host/results/results_sample.h"

namespace korvel::host {

namespace {

using Json = nlohmann::json;
using Names = std::vector<std::string>;

/// Up to here every sample is in the page. Of more, half as many at least are: several for each pixel of a curve.
constexpr std::size_t most_samples = 20000;

void append(Names& names, const Names& more) { names.insert(names.end(), more.begin(), more.end()); }

/// The columns of what is drawn as a curve, or must not be missed between the samples that are shown.
Names curve_columns(const Subject& robot) {
  Names names = columns_of(quantities::com);
  for (unsigned long j = 0; j < robot.system.getNbJointAngles(); ++j) {
    append(names, columns_of(quantities::torque, robot.system.getJointAngleName(j)));
  }
  for (const std::string& sole : sole_names(robot)) names.push_back(columns_of(quantities::force, sole).back());
  if (!robot.soles.empty()) {
    append(names, columns_of(quantities::margin));
    append(names, columns_of(quantities::residual));
    append(names, columns_of(quantities::feasible));
  }
  return names;
}

/// The columns of what else is shown.
Names point_columns(const Subject& robot) {
  Names names;
  for (unsigned long b = 0; b < robot.system.getNbBodies(); ++b) {
    append(names, columns_of(quantities::origin, robot.system.getBodyName(b)));
    append(names, columns_of(quantities::body_com, robot.system.getBodyName(b)));
  }
  for (const std::string& sole : sole_names(robot)) {
    for (const Quantity* of_sole :
         {&quantities::force, &quantities::contact, &quantities::pressure, &quantities::orientation}) {
      append(names, columns_of(*of_sole, sole));
    }
  }
  if (!robot.soles.empty()) append(names, columns_of(quantities::zero_moment_point));
  return names;
}

/// The bodies with a column of contact, and those of the soles, in the order of the robot.
std::vector<unsigned long> standing_bodies(const Names& header, const std::vector<contact::Sole>& soles,
                                           const tesk::RigidBodySystem& system) {
  const auto has = [&](const std::string& name) {
    return std::find(header.begin(), header.end(), name) != header.end();
  };
  std::vector<unsigned long> bodies;
  for (unsigned long b = 0; b < system.getNbBodies(); ++b) {
    const bool is_sole = std::any_of(soles.begin(), soles.end(), [&](const auto& sole) { return sole.body() == b; });
    if (is_sole || has(columns_of(quantities::contact, system.getBodyName(b)).front())) bodies.push_back(b);
  }
  return bodies;
}

/// A results file as it is read: its header says which bodies stand, and with that which columns there are.
class Results {
 public:
  Results(const std::filesystem::path& path, const std::vector<contact::Sole>& soles,
          const tesk::RigidBodySystem& system)
      : robot_{system} {
    read_sample_rows(
        path, [&](const CsvRow& header) { find_columns(path, header, soles); },
        [&](const SampleRow& row) { add(path, row); });
  }

  const Subject& robot() const { return robot_; }
  const Names& names() const { return names_; }
  const Thinning& samples() const { return *samples_; }
  double start() const { return start_; }

 private:
  void find_columns(const std::filesystem::path& path, const CsvRow& header, const std::vector<contact::Sole>& soles) {
    robot_.soles = standing_bodies(header.fields, soles, robot_.system);
    require_all_soles(path, header, soles);
    const auto place = [&](const std::string& name) {
      const auto found = std::find(header.fields.begin(), header.fields.end(), name);
      if (found == header.fields.end()) {
        throw error_at(path, header.line,
                       fmt::format("expected the column '{:.40}' that 'korvel-host run' writes, found none", name));
      }
      return static_cast<std::size_t>(found - header.fields.begin());
    };
    names_ = curve_columns(robot_);
    samples_.emplace(names_.size(), most_samples);
    append(names_, point_columns(robot_));
    for (const std::string& sole : sole_names(robot_)) append(flags_, columns_of(quantities::contact, sole));
    if (!robot_.soles.empty()) append(flags_, columns_of(quantities::feasible));
    // The first one that is missing is named in the order of the file; what the page does not show may be missing.
    for (const std::string& name : results_columns(robot_)) {
      if (std::find(names_.begin(), names_.end(), name) != names_.end()) place(name);
    }
    for (const std::string& name : names_) places_.push_back(place(name));
    time_ = place(columns_of(quantities::time).front());
    for (const std::string& name : flags_) flag_places_.push_back(place(name));
  }

  /// Soles, if there are any, are those of the run.
  void require_all_soles(const std::filesystem::path& path, const CsvRow& header,
                         const std::vector<contact::Sole>& soles) const {
    if (soles.empty()) return;
    for (const contact::Sole& sole : soles) {
      const std::string column = columns_of(quantities::contact, robot_.system.getBodyName(sole.body())).front();
      if (std::find(header.fields.begin(), header.fields.end(), column) != header.fields.end()) continue;
      throw error_at(path, header.line,
                     fmt::format("expected results of a run with these soles, found no '{}'", column));
    }
    for (const unsigned long b : robot_.soles) {
      const bool known = std::any_of(soles.begin(), soles.end(), [&](const auto& sole) { return sole.body() == b; });
      if (!known) {
        throw error_at(
            path, header.line,
            fmt::format("expected soles of all bodies that stand: {} has none", robot_.system.getBodyName(b)));
      }
    }
  }

  void add(const std::filesystem::path& path, const SampleRow& row) {
    for (std::size_t i = 0; i < flags_.size(); ++i) {
      const double flag = row.values[flag_places_[i]];
      if (flag < 0 || (flag > 0 && flag < 1) || flag > 1) {
        throw error_at(path, row.row.line, fmt::format("expected 0 or 1 in column '{}', found {}", flags_[i], flag));
      }
    }
    if (samples_->count() == 0) start_ = row.values[time_];
    values_.resize(places_.size());
    std::transform(places_.begin(), places_.end(), values_.begin(),
                   [&](std::size_t column) { return static_cast<float>(row.values[column]); });
    samples_->add({row.values[time_], row.elapsed, values_});
  }

  Subject robot_;
  Names names_, flags_;
  std::vector<std::size_t> places_, flag_places_;
  std::size_t time_ = 0;
  double start_ = 0;
  std::vector<float> values_;
  std::optional<Thinning> samples_;
};

/// Columns of the kept samples as the page has them: in JSON what is in the packed columns, and where.
class Columns {
 public:
  explicit Columns(const Results& results)
      : names_(results.names()),
        is_thinned_(results.samples().stride() > 1),
        kept_(results.samples().kept()),
        packed_(times(kept_)) {}

  Json curve(const std::string& name) {
    Json curve{{"values", packed_.add_exactly(column(&KeptSample::values, name))}};
    if (is_thinned_) {
      curve["low"] = packed_.add_exactly(column(&KeptSample::lows, name));
      curve["high"] = packed_.add_exactly(column(&KeptSample::highs, name));
    }
    return curve;
  }
  Json curves(const Names& names) {
    Json all = Json::array();
    for (const std::string& name : names) all.push_back(curve(name));
    return all;
  }

  /// As multiples of a power of two.
  Json rounded(const std::string& name, int finest = PackedColumns::micrometres) {
    const auto [index, unit] = packed_.add_rounded(column(&KeptSample::values, name), finest);
    return {{"column", index}, {"unit", unit}};
  }
  Json rounded(const Names& names, int finest = PackedColumns::micrometres) {
    Json all = Json::array();
    for (const std::string& name : names) all.push_back(rounded(name, finest));
    return all;
  }

  /// 0 or 1.
  Json flag(const std::string& name) { return rounded(name, ones); }
  /// With the lowest up to the next sample.
  Json lowest_flag(const std::string& name) {
    Json all = flag(name);
    if (is_thinned_) all["low"] = packed_.add_rounded(column(&KeptSample::lows, name), ones).column;
    return all;
  }

  std::size_t shown() const { return kept_.size(); }
  std::string text() const { return packed_.text(); }

 private:
  static constexpr int ones = 0;

  static std::vector<double> times(const std::vector<KeptSample>& kept) {
    std::vector<double> times;
    for (const KeptSample& sample : kept) times.push_back(sample.elapsed);
    return times;
  }

  std::vector<float> column(std::vector<float> KeptSample::*numbers, const std::string& name) const {
    const auto i = static_cast<std::size_t>(std::find(names_.begin(), names_.end(), name) - names_.begin());
    std::vector<float> column;
    column.reserve(kept_.size());
    for (const KeptSample& sample : kept_) column.push_back((sample.*numbers)[i]);
    return column;
  }

  const Names& names_;
  bool is_thinned_;
  std::vector<KeptSample> kept_;
  PackedColumns packed_;
};

Json corners_of(unsigned long body, const std::vector<contact::Sole>& soles) {
  Json corners = Json::array();
  for (const contact::Sole& sole : soles) {
    if (sole.body() != body) continue;
    for (const Eigen::Vector3d& corner : sole.corners()) corners.push_back({corner.x(), corner.y(), corner.z()});
  }
  return corners;
}

Json sole_data(unsigned long body, const Subject& robot, Columns& columns, const ReportGround& ground, Detail detail) {
  constexpr int millinewtons = -10;
  const std::string& name = robot.system.getBodyName(body);
  Names force = columns_of(quantities::force, name);
  Json sole{{"name", name},
            {"body", body},
            {"load", columns.curve(force.back())},
            {"contact", columns.flag(columns_of(quantities::contact, name).front())}};
  if (detail == Detail::curves) return sole;
  force.pop_back();
  sole["shear"] = columns.rounded(force, millinewtons);
  sole["pressure"] = columns.rounded(columns_of(quantities::pressure, name));
  Json corners = corners_of(body, ground.soles);
  if (corners.empty()) return sole;
  sole["corners"] = std::move(corners);
  sole["orientation"] = columns.rounded(columns_of(quantities::orientation, name));
  return sole;
}

Json ground_data(const Subject& robot, Columns& columns, const ReportGround& ground, Detail detail) {
  Json soles = Json::array();
  for (const unsigned long body : robot.soles) soles.push_back(sole_data(body, robot, columns, ground, detail));
  Json data{{"soles", std::move(soles)},
            {"level", ground.level},
            {"margin", columns.curve(columns_of(quantities::margin).front())},
            {"residual", columns.rounded(columns_of(quantities::residual).front())},
            {"feasible", columns.lowest_flag(columns_of(quantities::feasible).front())}};
  if (detail == Detail::all) data["zmp"] = columns.rounded(columns_of(quantities::zero_moment_point));
  return data;
}

Json body_data(unsigned long body, const tesk::RigidBodySystem& system, Columns& columns, Detail detail) {
  const std::string& name = system.getBodyName(body);
  const QZ::Math::Transform& rest = system.getPoseInRoot(body);
  Json data{{"name", name},
            {"parent", system.getParentsVector()[body]},
            {"mass", system.getMass(body)},
            {"rest", {rest.tx, rest.ty, rest.tz}}};
  if (detail == Detail::curves) return data;
  data["origin"] = columns.rounded(columns_of(quantities::origin, name));
  data["com"] = columns.rounded(columns_of(quantities::body_com, name));
  return data;
}

}  // namespace

Json report_data(const std::filesystem::path& path, const tesk::RigidBodySystem& system, const ReportGround& ground,
                 Detail detail) {
  const Results results(path, ground.soles, system);
  Columns columns(results);
  Json data{{"file", path.filename().string()},
            {"samples", results.samples().count()},
            {"shown", columns.shown()},
            {"stride", results.samples().stride()},
            {"start", results.start()},
            {"mass", system.getMass()},
            {"weight", weight_of(system)},
            {"ground_height", ground.height ? Json(*ground.height) : Json()},
            {"com", columns.curves(columns_of(quantities::com))}};
  for (unsigned long b = 0; b < system.getNbBodies(); ++b) {
    data["bodies"].push_back(body_data(b, system, columns, detail));
  }
  for (unsigned long j = 0; j < system.getNbJointAngles(); ++j) {
    const std::string& name = system.getJointAngleName(j);
    data["joints"].push_back(
        {{"name", name}, {"body", j + 1}, {"torque", columns.curve(columns_of(quantities::torque, name).front())}});
  }
  if (!results.robot().soles.empty()) data["ground"] = ground_data(results.robot(), columns, ground, detail);
  data["columns"] = columns.text();
  return data;
}

}  // namespace korvel::host
