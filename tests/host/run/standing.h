#pragma once

#include <Eigen/Geometry>
#include <functional>
#include <nlohmann/json.hpp>

#include "host/robot/module.h"
#include "tests/host/support/command.h"

namespace korvel::host {

using Columns = std::map<std::string, std::vector<double>>;
using Json = nlohmann::json;
/// A sample of a motion, by column.
using Values = std::map<std::string, double>;

/// Motions through the command, on the ground.
class StandingTest : public CommandTest {
 protected:
  void SetUp() override {
    // The pose is that at the beginning of squat.csv: upright with bent knees, feet flat on the ground.
    read_csv(KORVEL_MOTIONS "/squat.csv", [&](const CsvRow& row) {
      if (names_.empty()) {
        names_ = row.fields;
      } else if (start_.empty()) {
        for (std::size_t i = 0; i < names_.size(); ++i) start_[names_[i]] = std::strtod(row.fields[i].c_str(), nullptr);
      }
    });
    for (const char* angle : {"roll", "pitch", "yaw"}) start_.try_emplace(angle, 0);
  }

  /// Soles with other lengths or friction than those of the example.
  std::string soles(double friction, double toe = 0.1, double heel = 0.05, double side = 0.04) {
    std::string text = "body,x,y,z,friction\n";
    for (const char* foot : {"LAnkleRoll", "RAnkleRoll"}) {
      for (const double y : {-side, side}) {
        for (const double z : {-heel, toe}) text += fmt::format("{},-0.045,{},{},{}\n", foot, y, z, friction);
      }
    }
    write(directory_ / "soles.csv", text);
    return "--soles soles.csv";
  }

  /// The start, moved as a whole, in a fifth of a second. `more` are columns after those of the start, and their
  /// values.
  void write_moved(const std::function<Eigen::Vector3d(double)>& displacement,
                   const std::pair<std::string, std::string>& more = {}) {
    std::string text = fmt::format("{}{}\n", fmt::join(names_, ","), more.first);
    for (int i = 0; i <= 20; ++i) {
      auto values = start_;
      values["time"] = 0.01 * i;
      const Eigen::Vector3d at = displacement(0.01 * i);
      values["x"] += at.x();
      values["y"] += at.y();
      values["z"] += at.z();
      for (const std::string& name : names_) {
        text += fmt::format("{}{}", values[name], name == names_.back() ? more.second + '\n' : ",");
      }
    }
    write(directory_ / "motion.csv", text);
  }

  /// Along `acceleration` t^2 / 2, with both feet in contact.
  void write_accelerated(const Eigen::Vector3d& acceleration, bool contact = true) {
    write_moved([&](double t) -> Eigen::Vector3d { return acceleration * t * t / 2; },
                {",LAnkleRoll_contact,RAnkleRoll_contact", contact ? ",1,1" : ",0,0"});
  }

  /// Returns what the command says about motion.csv.
  Json ground(const std::string& options) {
    const Outcome outcome = host("run motion.csv -o results.csv --json " + options);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    if (outcome.status != 0) return {};
    return Json::parse(outcome.out).at("motions").at(0).at("ground");
  }
  Columns columns() const { return columns_in<double>("results.csv"); }
  Columns results_of(const std::string& motion, const std::string& options) {
    const Outcome outcome = host(fmt::format("run '{}' -o results.csv {}", motion, options));
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    return columns();
  }

  /// motion.csv becomes a motion of which `change` makes each sample, and may add the column `added`.
  void write_changed(const std::string& motion, const std::function<Values(Values)>& change,
                     const std::string& added = {}) {
    std::vector<std::string> names;
    std::string text;
    read_csv(motion, [&](const CsvRow& row) {
      if (names.empty()) {
        names = row.fields;
        if (!added.empty()) names.push_back(added);
        text = fmt::format("{}\n", fmt::join(names, ","));
        return;
      }
      Values values;
      for (std::size_t i = 0; i < row.fields.size(); ++i)
        values[names[i]] = std::strtod(row.fields[i].c_str(), nullptr);
      values = change(std::move(values));
      for (const std::string& name : names) {
        text += fmt::format("{}{}", values.at(name), name == names.back() ? "\n" : ",");
      }
    });
    write(directory_ / "motion.csv", text);
  }

  std::vector<std::string> names_;
  Values start_;
  const double weight_ = 9.81 * static_cast<double>(Module(KORVEL_MODULE).create()->getMass());
};

inline const std::string example = fmt::format("--soles '{}/soles.csv'", KORVEL_MOTIONS);

}  // namespace korvel::host
