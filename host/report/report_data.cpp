#include "host/report/report_data.h"

#include <fmt/format.h>

#include <cmath>
#include <fstream>
#include <initializer_list>
#include <optional>
#include <string>
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

/// A column that the page shows.
struct Column {
  std::string name;
  bool is_flag;           ///< has only zeros and ones
  std::size_t place = 0;  ///< in the file
};

struct Shown {
  std::vector<Column> curves;  ///< drawn as curves, or must not be missed between the samples that are shown
  std::vector<Column> others;
};

void add(std::vector<Column>& columns, const std::string& owner, std::initializer_list<const Quantity*> all) {
  for (const Quantity* quantity : all) {
    const bool is_flag = quantity == &quantities::contact || quantity == &quantities::feasible;
    for (const std::string& name : columns_of(*quantity, owner)) columns.push_back({name, is_flag});
  }
}

void add_ground(const Json& run, Shown& shown) {
  for (const Json& sole : run.at("ground").at("soles")) {
    const std::string name = run.at("bodies").at(sole.at("body").get<std::size_t>()).at("name");
    add(shown.curves, name, {&quantities::force});
    add(shown.others, name, {&quantities::contact, &quantities::pressure, &quantities::orientation});
  }
  add(shown.curves, {}, {&quantities::margin, &quantities::feasible});
  add(shown.others, {}, {&quantities::zero_moment_point});
}

void add_bodies(const Json& bodies, const Names& header, Shown& shown) {
  Json ends = Json::array();  // for each body so far, whether a limb ends there
  for (const Json& body : bodies) {
    const std::string name = body.at("name");
    const int parent = body.at("parent");
    const auto place = static_cast<std::size_t>(parent);
    if (parent != -1) ends.at(place) = false;  // Throws at a parent that does not stand before the body.
    ends.push_back(true);
    // If a body turns about the same point as its parent, the page has that point once.
    if (parent == -1 || bodies.at(place).at("rest") != body.at("rest")) add(shown.others, name, {&quantities::origin});
    const Names applied = columns_of(quantities::applied_force, name);
    if (index_in(header, applied.front())) add(shown.others, name, {&quantities::applied_force});
  }
  for (std::size_t b = 0; b < bodies.size(); ++b) {
    if (ends.at(b)) add(shown.others, bodies.at(b).at("name"), {&quantities::body_com});
  }
}

Shown shown_columns(const Json& run, const Names& header) {
  Shown shown;
  add(shown.curves, {}, {&quantities::com});
  for (const Json& joint : run.at("joints")) {
    add(shown.curves, joint.at("name"), {&quantities::torque, &quantities::angle, &quantities::speed});
  }
  if (run.contains("ground")) add_ground(run, shown);
  add_bodies(run.at("bodies"), header, shown);
  return shown;
}

/// Returns the curves; where samples are left out, their lowest and their highest values; the other columns.
std::vector<std::vector<float>> shown_values(const std::vector<KeptSample>& kept, std::size_t curves, bool is_thinned) {
  std::vector<std::vector<float>> columns;
  const auto add = [&](std::vector<float> KeptSample::*numbers, std::size_t first, std::size_t end) {
    for (std::size_t i = first; i < end; ++i) {
      std::vector<float>& column = columns.emplace_back();
      for (const KeptSample& sample : kept) column.push_back((sample.*numbers)[i]);
    }
  };
  add(&KeptSample::values, 0, curves);
  if (is_thinned) {
    add(&KeptSample::lows, 0, curves);
    add(&KeptSample::highs, 0, curves);
  }
  add(&KeptSample::values, curves, kept.front().values.size());
  return columns;
}

/// Adds what is in the results to their description.
void add_results(const std::filesystem::path& path, Json& data) {
  Shown shown;
  std::size_t time = 0;
  std::optional<Thinning> samples;
  const auto on_header = [&](const CsvRow& header) {
    const auto place_of = [&](const std::string& name) {
      if (const auto place = index_in(header.fields, name)) return *place;
      throw error_at(path, header.line,
                     fmt::format("expected the column '{:.40}' that 'korvel-host run' writes, found none", name));
    };
    shown = shown_columns(data, header.fields);
    for (Column& column : shown.curves) column.place = place_of(column.name);
    for (Column& column : shown.others) column.place = place_of(column.name);
    time = place_of(columns_of(quantities::time).front());
    samples.emplace(shown.curves.size(), most_samples);
  };
  const auto on_sample = [&](const SampleRow& row) {
    const auto number = [&](const Column& column) {
      const double value = row.values[column.place];
      if (column.is_flag && (value < 0 || (value > 0 && value < 1) || value > 1)) {
        throw error_at(path, row.row.line, fmt::format("expected 0 or 1 in column '{}', found {}", column.name, value));
      }
      return value;
    };
    if (samples->count() == 0) data["start"] = row.values[time];
    std::vector<float> values;
    for (const Column& column : shown.curves) values.push_back(static_cast<float>(number(column)));
    for (const Column& column : shown.others) values.push_back(static_cast<float>(rounded(number(column))));
    samples->add(row.elapsed, values);
  };
  read_sample_rows(path, on_header, on_sample, true);
  const std::vector<KeptSample> kept = samples->kept();
  data["samples"] = samples->count();
  data["stride"] = samples->stride();
  for (const KeptSample& sample : kept) data["time"].push_back(sample.elapsed);
  for (const Column& column : shown.curves) data["curves"].push_back(column.name);
  for (const Column& column : shown.others) data["others"].push_back(column.name);
  data["columns"] = packed(shown_values(kept, shown.curves.size(), samples->stride() > 1));
}

}  // namespace

Json report_data(const std::filesystem::path& path) try {
  Json data = read_run(path);
  data["file"] = path.filename().string();
  if (data.contains("ground")) static_cast<void>(data.at("ground").at("summary").at("tables"));
  if (data.contains("limits")) static_cast<void>(data.at("limits").at("uses"));
  add_results(path, data);
  return data;
} catch (const Json::exception&) {
  throw Error(fmt::format("{}: expected the description of results that 'korvel-host run' of this version writes",
                          description_path(path).string()));
}

}  // namespace korvel::host
