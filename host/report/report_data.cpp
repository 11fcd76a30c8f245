#include "host/report/report_data.h"

#include <algorithm>
#include <string>
#include <vector>

#include "host/report/packed_columns.h"
#include "host/report/thinning.h"
#include "host/results/columns.h"
#include "host/results/results_table.h"

namespace korvel::host {

namespace {

using Json = nlohmann::json;
using Names = std::vector<std::string>;

/// Up to here every sample is in the page. Of more, half as many at least are: several for each pixel of a curve.
constexpr std::size_t most_samples = 20000;

void append(Names& names, const Names& more) { names.insert(names.end(), more.begin(), more.end()); }

/// The columns of what is drawn as a curve.
Names curve_columns(const tesk::RigidBodySystem& system) {
  Names names = columns_of(quantities::com);
  for (unsigned long j = 0; j < system.getNbJointAngles(); ++j) {
    append(names, columns_of(quantities::torque, system.getJointAngleName(j)));
  }
  return names;
}

/// The columns of the points that are drawn in the figure alone.
Names point_columns(const tesk::RigidBodySystem& system) {
  Names names;
  for (unsigned long b = 0; b < system.getNbBodies(); ++b) {
    append(names, columns_of(quantities::origin, system.getBodyName(b)));
    append(names, columns_of(quantities::body_com, system.getBodyName(b)));
  }
  return names;
}

/// Columns of the kept samples as the page has them: in JSON what is in the packed columns, and where.
class Columns {
 public:
  Columns(const Names& names, const Thinning& thinning)
      : names_(names), is_thinned_(thinning.stride() > 1), kept_(thinning.kept()), packed_(times(kept_)) {}

  /// A value for the one column of a quantity, an array for several.
  Json curve(const Quantity& quantity, const std::string& owner = {}) {
    return each_of(quantity, owner, [&](std::size_t i) {
      Json curve{{"values", packed_.add_exactly(column(&KeptSample::values, i))}};
      if (is_thinned_) {
        curve["low"] = packed_.add_exactly(column(&KeptSample::lows, i));
        curve["high"] = packed_.add_exactly(column(&KeptSample::highs, i));
      }
      return curve;
    });
  }

  Json points(const Quantity& quantity, const std::string& owner) {
    return each_of(quantity, owner, [&](std::size_t i) {
      const auto [index, unit] = packed_.add_rounded(column(&KeptSample::values, i));
      return Json{{"column", index}, {"unit", unit}};
    });
  }

  std::size_t shown() const { return kept_.size(); }
  std::string text() const { return packed_.text(); }

 private:
  static std::vector<double> times(const std::vector<KeptSample>& kept) {
    std::vector<double> times;
    for (const KeptSample& sample : kept) times.push_back(sample.elapsed);
    return times;
  }

  std::vector<float> column(std::vector<float> KeptSample::*numbers, std::size_t i) const {
    std::vector<float> column;
    column.reserve(kept_.size());
    for (const KeptSample& sample : kept_) column.push_back((sample.*numbers)[i]);
    return column;
  }

  template <typename Function>
  Json each_of(const Quantity& quantity, const std::string& owner, const Function& function) const {
    Json all = Json::array();
    for (const std::string& name : columns_of(quantity, owner)) {
      all.push_back(function(static_cast<std::size_t>(std::find(names_.begin(), names_.end(), name) - names_.begin())));
    }
    return quantity.shape == Shape::number ? all.front() : all;
  }

  const Names& names_;
  bool is_thinned_;
  std::vector<KeptSample> kept_;
  PackedColumns packed_;
};

}  // namespace

Json report_data(const std::filesystem::path& results, const tesk::RigidBodySystem& system) {
  Names names = curve_columns(system);
  Thinning thinning(names.size(), most_samples);
  append(names, point_columns(system));
  double start = 0;
  read_results(results, results_columns({system}), names, [&](const ResultsSample& sample) {
    if (thinning.count() == 0) start = sample.time;
    thinning.add(sample);
  });

  Columns columns(names, thinning);
  const auto parents = system.getParentsVector();
  Json com = columns.curve(quantities::com);
  Json bodies = Json::array();
  for (unsigned long b = 0; b < system.getNbBodies(); ++b) {
    const std::string& name = system.getBodyName(b);
    const QZ::Math::Transform& rest = system.getPoseInRoot(b);
    bodies.push_back({{"name", name},
                      {"parent", parents[b]},
                      {"mass", system.getMass(b)},
                      {"rest", {rest.tx, rest.ty, rest.tz}},
                      {"origin", columns.points(quantities::origin, name)},
                      {"com", columns.points(quantities::body_com, name)}});
  }
  Json joints = Json::array();
  for (unsigned long j = 0; j < system.getNbJointAngles(); ++j) {
    const std::string& name = system.getJointAngleName(j);
    joints.push_back({{"name", name}, {"body", j + 1}, {"torque", columns.curve(quantities::torque, name)}});
  }
  return {{"file", results.filename().string()},
          {"samples", thinning.count()},
          {"shown", columns.shown()},
          {"stride", thinning.stride()},
          {"start", start},
          {"mass", system.getMass()},
          {"com", std::move(com)},
          {"bodies", std::move(bodies)},
          {"joints", std::move(joints)},
          {"columns", columns.text()}};
}

}  // namespace korvel::host
