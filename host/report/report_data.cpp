#include "host/report/report_data.h"

#include <fmt/format.h>

#include <cmath>
#include <fstream>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/report/packed_columns.h"
#include "host/report/thinning.h"
#include "host/run/columns.h"
#include "host/run/results_file.h"
#include "motion/csv/error.h"
#include "motion/csv/samples.h"

namespace korvel::host {

namespace {

using Json = nlohmann::json;
using Names = std::vector<std::string>;

/// Up to here every sample is in the page. Of more, half as many at least are: several for each pixel of a curve.
constexpr std::size_t most_samples = 20000;

/// Rounds a number that is only drawn, a place to 8 um: its last digits would take most of the room in the page.
double rounded(double value) { return std::nearbyint(value * 0x1p17) / 0x1p17; }

/// Reads the description beside results.
Json read_run(const std::filesystem::path& results) {
  const std::filesystem::path path = description_path(results);
  std::ifstream file(path);
  if (!file) {
    static_cast<void>(std::filesystem::canonical(results));  // Throws if the results are missing as well.
    throw Error(
        fmt::format("{}: expected results of 'korvel-host run' with {} beside them, which describes the robot, "
                    "found none; run the motion again",
                    results.string(), path.filename().string()));
  }
  return Json::parse(file);
}

/// The columns of a results file that the page shows. All are asked for when the header has been read.
class Columns {
 public:
  explicit Columns(const std::filesystem::path& path) : path_(path) {}

  bool has(const std::string& name) const { return index_in(header_, name).has_value(); }
  /// Columns that are drawn as curves, or must not be missed between the samples that are shown. Returns their indexes.
  Json curves(const Names& names) { return added(curves_, names); }
  Json curve(const std::string& name) { return curves({name}).front(); }
  /// Columns that are shown otherwise. Returns their indexes, from 0 behind those of the curves.
  Json others(const Names& names) { return added(others_, names); }
  /// The column has only zeros and ones.
  void require_flag(const std::string& name) { flags_.emplace_back(name, place_of(name)); }

  /// Adds to the data what is in the file, after `ask` has asked for columns.
  void read(Json& data, const std::function<void()>& ask) {
    std::optional<Thinning> samples;
    std::vector<std::size_t> places;
    std::size_t time = 0;
    double start = 0;
    read_sample_rows(
        path_,
        [&](const CsvRow& header) {
          header_.assign(header.fields.begin(), header.fields.end());
          line_ = header.line;
          ask();
          places = curves_;
          places.insert(places.end(), others_.begin(), others_.end());
          time = place_of(columns_of(quantities::time).front());
          samples.emplace(curves_.size(), most_samples);
        },
        [&](const SampleRow& row) {
          check_flags(row);
          if (samples->count() == 0) start = row.values[time];
          std::vector<float> values;
          for (std::size_t i = 0; i < places.size(); ++i) {
            const double value = row.values[places[i]];
            values.push_back(static_cast<float>(i < curves_.size() ? value : rounded(value)));
          }
          samples->add(row.elapsed, values);
        },
        true);
    const std::vector<KeptSample> kept = samples->kept();
    data["samples"] = samples->count();
    data["stride"] = samples->stride();
    data["start"] = start;
    data["time"] = Json::array();
    for (const KeptSample& sample : kept) data["time"].push_back(sample.elapsed);
    data["curves"] = curves_.size();
    data["columns"] = packed(shown(kept, samples->stride() > 1));
  }

 private:
  Json added(std::vector<std::size_t>& places, const Names& names) const {
    Json indexes = Json::array();
    for (const std::string& name : names) {
      indexes.push_back(places.size());
      places.push_back(place_of(name));
    }
    return indexes;
  }

  std::size_t place_of(const std::string& name) const {
    if (const auto place = index_in(header_, name)) return *place;
    throw error_at(path_, line_,
                   fmt::format("expected the column '{:.40}' that 'korvel-host run' writes, found none", name));
  }

  void check_flags(const SampleRow& row) const {
    for (const auto& [name, place] : flags_) {
      const double flag = row.values[place];
      if (flag < 0 || (flag > 0 && flag < 1) || flag > 1) {
        throw error_at(path_, row.row.line, fmt::format("expected 0 or 1 in column '{}', found {}", name, flag));
      }
    }
  }

  /// The curves; where samples are left out, their lowest and their highest values; the other columns.
  std::vector<std::vector<float>> shown(const std::vector<KeptSample>& kept, bool is_thinned) const {
    std::vector<std::vector<float>> columns;
    const auto add = [&](std::vector<float> KeptSample::*numbers, std::size_t first, std::size_t end) {
      for (std::size_t i = first; i < end; ++i) {
        std::vector<float>& column = columns.emplace_back();
        for (const KeptSample& sample : kept) column.push_back((sample.*numbers)[i]);
      }
    };
    add(&KeptSample::values, 0, curves_.size());
    if (is_thinned) {
      add(&KeptSample::lows, 0, curves_.size());
      add(&KeptSample::highs, 0, curves_.size());
    }
    add(&KeptSample::values, curves_.size(), curves_.size() + others_.size());
    return columns;
  }

  const std::filesystem::path path_;
  Names header_;
  std::size_t line_ = 0;
  std::vector<std::size_t> curves_, others_;  // places in the file
  std::vector<std::pair<std::string, std::size_t>> flags_;
};

/// Asks for the columns of the ground and its soles.
void add_ground(Json& data, Columns& columns) {
  Json& ground = data.at("ground");
  for (Json& sole : ground.at("soles")) {
    const std::string name = data.at("bodies").at(sole.at("body").get<std::size_t>()).at("name");
    Names force = columns_of(quantities::force, name);
    const Names contact = columns_of(quantities::contact, name);
    sole["name"] = name;
    sole["load"] = columns.curve(force.back());
    sole["contact"] = columns.others(contact);
    columns.require_flag(contact.front());
    force.pop_back();
    sole["shear"] = columns.others(force);
    sole["pressure"] = columns.others(columns_of(quantities::pressure, name));
    sole["orientation"] = columns.others(columns_of(quantities::orientation, name));
  }
  const std::string feasible = columns_of(quantities::feasible).front();
  ground["margin"] = columns.curve(columns_of(quantities::margin).front());
  ground["feasible"] = columns.curve(feasible);
  columns.require_flag(feasible);
  ground["zmp"] = columns.others(columns_of(quantities::zero_moment_point));
}

/// Asks for all columns of the page.
void add_all(Json& data, Columns& columns) {
  data["com"] = columns.curves(columns_of(quantities::com));
  for (Json& joint : data.at("joints")) {
    const auto add = [&](const char* key, const Quantity& quantity) {
      joint[key] = columns.curve(columns_of(quantity, joint.at("name")).front());
    };
    add("torque", quantities::torque);
    add("angle", quantities::angle);
    add("speed", quantities::speed);
  }
  if (data.contains("ground")) add_ground(data, columns);
  Json& bodies = data.at("bodies");
  std::vector<bool> has_children(bodies.size());
  for (Json& body : bodies) {
    Json origin;
    if (const int parent = body.at("parent"); parent != -1) {
      // A parent that does not stand before the body has no origin yet, and throws.
      const auto place = static_cast<std::size_t>(parent);
      const Json above = bodies.at(place).at("origin");
      // If a body turns about the same point as its parent, the page has that point once.
      if (bodies.at(place).at("rest") == body.at("rest")) origin = above;
      has_children[place] = true;
    }
    body["origin"] = origin.is_null() ? columns.others(columns_of(quantities::origin, body.at("name"))) : origin;
    const Names applied = columns_of(quantities::applied_force, body.at("name"));
    if (columns.has(applied.front())) body["applied"] = columns.others(applied);
  }
  for (std::size_t b = 0; b < bodies.size(); ++b) {
    // A limb ends there.
    Json& body = bodies.at(b);
    if (!has_children[b]) body["com"] = columns.others(columns_of(quantities::body_com, body.at("name")));
  }
}

}  // namespace

Json report_data(const std::filesystem::path& path) try {
  Json data = read_run(path);
  data["file"] = path.filename().string();
  if (data.contains("ground")) static_cast<void>(data.at("ground").at("summary").at("tables"));
  if (data.contains("limits")) static_cast<void>(data.at("limits").at("uses"));
  Columns columns(path);
  columns.read(data, [&] { add_all(data, columns); });
  return data;
} catch (const Json::exception&) {
  throw Error(fmt::format("{}: expected the description of results that 'korvel-host run' of this version writes",
                          description_path(path).string()));
}

}  // namespace korvel::host
