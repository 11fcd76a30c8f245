#include <functional>
#include <nlohmann/json.hpp>

#include "host/robot/module.h"
#include "host/robot/robot.h"
#include "tests/host/support/command.h"

namespace korvel::host {
namespace {

using Columns = std::map<std::string, std::vector<double>>;
using Json = nlohmann::json;
/// A sample of a motion, by column.
using Values = std::map<std::string, double>;

constexpr double pi = 3.14159265358979323846;

/// Motions through the command, on the ground.
class StandingTest : public CommandTest {
 protected:
  void SetUp() override {
    // As squat.csv begins: upright with bent knees, feet flat on the ground.
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

  /// What the command says of motion.csv.
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

const std::string example = fmt::format("--soles '{}/soles.csv'", KORVEL_MOTIONS);

TEST_F(StandingTest, AtRestTheGroundBearsTheWeightBelowTheCentreOfMass) {
  write_accelerated({0, 0, 0});
  const Json json = ground(example);
  EXPECT_EQ(json.at("stands_throughout"), true);
  EXPECT_TRUE(json.at("cannot_stand").empty());
  const Columns all = columns();
  for (std::size_t s = 0; s < all.at("time").size(); ++s) {
    double force = 0;
    double x = 0;
    double y = 0;
    for (const char* foot : {"LAnkleRoll", "RAnkleRoll"}) {
      const auto column = [&](const char* name) { return all.at(std::string(foot) + name)[s]; };
      force += column("_force_z");
      x += column("_force_z") * column("_cop_x");
      y += column("_force_z") * column("_cop_y");
      EXPECT_EQ(column("_contact"), 1);
      EXPECT_NEAR(column("_force_z"), weight_ / 2, 0.01 * weight_);
    }
    EXPECT_NEAR(force, weight_, 1e-5 * weight_);
    EXPECT_NEAR(x / force, all.at("com_x")[s], 1e-6);
    EXPECT_NEAR(y / force, all.at("com_y")[s], 1e-6);
    EXPECT_NEAR(all.at("zmp_x")[s], all.at("com_x")[s], 1e-6);
    EXPECT_EQ(all.at("feasible")[s], 1);
    EXPECT_LT(all.at("contact_residual")[s], 1e-6);
  }
}

// By the columns alone, where motions pause: on one foot, on both of them, on one that is ahead of the other.
TEST_F(StandingTest, WrenchesOfTheFileBalanceTheWeight) {
  const std::pair<const char*, double> pauses[] = {
      {"weight_shift", 2.25}, {"weight_shift", 5.25}, {"squat", 3}, {"slow_step", 0}, {"slow_step", 7}};
  for (const auto& [motion, time] : pauses) {
    const Columns all = results_of(fmt::format("{}/{}.csv", KORVEL_MOTIONS, motion), example);
    const auto found = std::lower_bound(all.at("time").begin(), all.at("time").end(), time - 1e-6);
    const auto row = static_cast<std::size_t>(found - all.at("time").begin());
    const auto point = [&, &all = all](const std::string& name) {
      return Eigen::Vector3d(all.at(name + "_x")[row], all.at(name + "_y")[row], all.at(name + "_z")[row]);
    };
    Eigen::Vector3d force(0, 0, -weight_);
    Eigen::Vector3d moment_about_com(0, 0, 0);
    for (const std::string foot : {"LAnkleRoll", "RAnkleRoll"}) {
      const Eigen::Vector3d f = point(foot + "_force");
      const Eigen::Vector3d m = point(foot + "_moment");
      const Eigen::Vector3d origin = point(foot);
      force += f;
      moment_about_com += m + (origin - point("com")).cross(f);
      if (f.z() < 0.05 * weight_) continue;
      // About it, what the level ground does has no moment in the ground.
      const Eigen::Vector3d pressure(all.at(foot + "_cop_x")[row], all.at(foot + "_cop_y")[row], 0);
      const Eigen::Vector3d moment = m + (origin - pressure).cross(f);
      EXPECT_LT(moment.head<2>().norm(), 1e-5 * weight_) << motion << " " << time << " " << foot;
    }
    EXPECT_LT(force.norm(), 1e-4 * weight_) << motion << " " << time;
    // A tenth of a millimetre.
    EXPECT_LT(moment_about_com.norm(), 1e-4 * weight_) << motion << " " << time;
  }
}

TEST_F(StandingTest, FreeFlightNeedsNothing) {
  write_accelerated({0, 0, -9.81}, false);
  EXPECT_EQ(ground(example).at("stands_throughout"), true);
  const Columns all = columns();
  for (const double residual : all.at("contact_residual")) EXPECT_LT(residual, 1e-5);
  for (const double force : all.at("LAnkleRoll_force_z")) EXPECT_EQ(force, 0);
  // And a robot that is at rest in the air needs all of its weight.
  write_accelerated({0, 0, 0}, false);
  const Json json = ground(example);
  EXPECT_EQ(json.at("stands_throughout"), false);
  EXPECT_EQ(json.at("cannot_stand").at(0).at("why"), "no contact");
  EXPECT_NEAR(json.at("cannot_stand").at(0).at("missing").at("value").get<double>(), 1, 0.1);
}

TEST_F(StandingTest, FallingFasterThanFreelyNeedsAPull) {
  write_accelerated({0, 0, -12});
  EXPECT_EQ(ground(example).at("cannot_stand").at(0).at("why"), "needs a pull");
}

// A thousandth of the acceleration on either side of it, in every direction: friction has none.
TEST_F(StandingTest, AccelerationOfFrictionTimesGravityIsTheEdgeOfSlipping) {
  const double friction = 0.1;
  const std::string options = soles(friction, 0.2, 0.2, 0.2);
  for (const double angle : {0.0, 0.3, pi / 4, pi / 2, 2.0}) {
    const Eigen::Vector3d direction(std::cos(angle), std::sin(angle), 0);
    write_accelerated(0.999 * friction * 9.81 * direction);
    const Json within = ground(options);
    EXPECT_EQ(within.at("stands_throughout"), true) << angle;
    EXPECT_NEAR(within.at("margins").at("least_friction").at("value").get<double>(), 0.999 * friction, 2e-4) << angle;
    // What is missing counts from a thousandth of the weight on.
    write_accelerated((1.001 * friction + 1e-3) * 9.81 * direction);
    const Json beyond = ground(options);
    ASSERT_EQ(beyond.at("stands_throughout"), false) << angle;
    EXPECT_EQ(beyond.at("cannot_stand").at(0).at("why"), "slips") << angle;
  }
}

TEST_F(StandingTest, AccelerationOfReachOverHeightIsTheEdgeOfTipping) {
  const std::string options = soles(2);
  write_accelerated({0, 0, 0});
  ground(options);
  const Columns rest = columns();
  const double height = rest.at("com_z")[0];
  const double toe = rest.at("LAnkleRoll_x")[0] + 0.1;
  const double heel = rest.at("LAnkleRoll_x")[0] - 0.05;
  const double left = rest.at("LAnkleRoll_y")[0] + 0.04;
  const struct {
    double reach;
    Eigen::Vector3d direction;
    const char* name;
  } edges[] = {{rest.at("com_x")[0] - heel, {1, 0, 0}, "backward"},
               {toe - rest.at("com_x")[0], {-1, 0, 0}, "forward"},
               {left, {0, -1, 0}, "to the left"},
               {left, {0, 1, 0}, "to the right"}};
  for (const auto& edge : edges) {
    const double acceleration = 9.81 * edge.reach / height;
    write_accelerated(0.999 * acceleration * edge.direction);
    EXPECT_EQ(ground(options).at("stands_throughout"), true) << edge.name;
    // A thousandth of the weight at a decimetre is a tenth of a millimetre.
    write_accelerated((1.001 + 2e-4 / edge.reach) * acceleration * edge.direction);
    const Json beyond = ground(options);
    ASSERT_EQ(beyond.at("stands_throughout"), false) << edge.name;
    const Json span = beyond.at("cannot_stand").at(0);
    EXPECT_EQ(span.at("why"), "tips");
    EXPECT_EQ(span.at("direction"), edge.name);
    EXPECT_NEAR(span.at("excess").at("value").get<double>(), 1e-3 * edge.reach + 2e-4, 2e-5);
  }
}

// Below 5 mm and 0.05 m/s, unless somebody says otherwise: a sole that slides bears nothing, nor does one in the air.
TEST_F(StandingTest, ASoleStandsWhileItIsNearTheGroundAndSlow) {
  const struct {
    Eigen::Vector3d place, velocity;
    bool stands;
  } cases[] = {{{0, 0, 0}, {0, 0, 0}, true},
               {{0, 0, 0.004}, {0.03, -0.03, 0}, true},
               {{0, 0, 0.006}, {0, 0, 0}, false},
               {{0, 0, 0}, {0.06, 0, 0}, false},
               {{0, 0, 0}, {0, -0.06, 0}, false},
               {{0, 0, -0.02}, {0, 0, 0.06}, false},
               {{0, 0, -0.02}, {-0.04, -0.04, 0}, false}};
  for (const auto& [place, velocity, stands] : cases) {
    write_moved([&at = place, &v = velocity](double t) -> Eigen::Vector3d { return at + v * t; });
    EXPECT_EQ(ground(example).at("stands_throughout"), stands) << place << velocity;
    for (const char* foot : {"LAnkleRoll_contact", "RAnkleRoll_contact"}) {
      EXPECT_EQ(columns().at(foot), std::vector<double>(21, stands ? 1 : 0)) << place << velocity;
    }
  }
}

TEST_F(StandingTest, RequireFeasibleMakesItAnExitStatus) {
  write_accelerated({0, 0, 0});
  EXPECT_EQ(host("run motion.csv -o results.csv --require-feasible " + example).status, 0);
  write_accelerated({6, 0, 0});
  const Outcome outcome = host("run motion.csv -o results.csv --require-feasible " + example);
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err, "");
  EXPECT_EQ(outcome.out.find("cannot be stood as it is, in 1 span:\n  0.000 to 0.200 s  tips backward by "), 0U)
      << outcome.out;
  EXPECT_EQ(columns().at("feasible"), std::vector<double>(21, 0));
}

// Moved, and turned about the vertical: the same to the robot, but for the rounding of where a leaning root's up is.
TEST_F(StandingTest, TorquesDoNotDependOnPlaceAndHeading) {
  for (const char* name : {"weight_shift", "squat", "slow_step"}) {
    const std::string motion = fmt::format("{}/{}.csv", KORVEL_MOTIONS, name);
    const Columns here = results_of(motion, example);
    const double yaw = 0.7;
    write_changed(motion, [yaw](Values values) {
      const double x = values["x"];
      const double y = values["y"];
      values["x"] = 1.5 + std::cos(yaw) * x - std::sin(yaw) * y;
      values["y"] = -1.5 + std::sin(yaw) * x + std::cos(yaw) * y;
      values["yaw"] += yaw;
      return values;
    });
    const Columns there = results_of("motion.csv", example);
    for (const auto& [column, values] : here) {
      if (column.find("_torque") == std::string::npos) continue;
      for (std::size_t s = 0; s < values.size(); ++s)
        EXPECT_NEAR(values[s], there.at(column)[s], 1e-6) << name << " " << column << " " << s;
    }
  }
}

// Each bound by itself decides whether soles stand that are a little too high, too fast, or down for too short a time.
TEST_F(StandingTest, BoundsOfContactAreOptions) {
  const struct {
    const char* options;
    std::function<void(Values&, int)> change;
  } cases[] = {{" --contact-height 0.008", [](Values& v, int) { v["z"] += 0.007; }},
               {" --contact-speed 0.08", [](Values& v, int i) { v["x"] += 0.07 * 0.01 * i; }},
               {" --contact-time 0.03", [](Values& v, int i) { v["z"] += i < 8 || i > 11 ? 0.02 : 0.0; }}};
  for (const auto& [options, change] : cases) {
    std::string text = fmt::format("{}\n", fmt::join(names_, ","));
    for (int i = 0; i <= 20; ++i) {
      Values values = start_;
      values["time"] = 0.01 * i;
      change(values, i);
      for (const std::string& name : names_)
        text += fmt::format("{}{}", values[name], name == names_.back() ? "\n" : ",");
    }
    write(directory_ / "motion.csv", text);
    // Fast where it goes up and down again.
    const std::string fast = std::string(options).find("time") == std::string::npos ? "" : " --contact-speed 9";
    const auto stands = [&](const std::string& more) {
      return results_of("motion.csv", example + fast + more).at("LAnkleRoll_contact")[10] > 0;
    };
    EXPECT_FALSE(stands("")) << options;
    EXPECT_TRUE(stands(options)) << options;
  }
}

// Nothing jumps: not in a step, and not where a foot is taken off the ground that still bears a tenth of the weight.
TEST_F(StandingTest, LoadGoesFromFootToFootSmoothly) {
  write(directory_ / "slow_step.csv", read(KORVEL_MOTIONS "/slow_step.csv"));
  write_changed(
      KORVEL_MOTIONS "/weight_shift.csv",
      [](Values values) {
        values["RAnkleRoll_contact"] = values["y"] > 0.053 ? 0 : 1;
        return values;
      },
      "RAnkleRoll_contact");
  for (const char* motion : {"slow_step.csv", "motion.csv"}) {
    const Columns step = results_of(motion, "--require-feasible " + example);
    const auto& in_contact = step.at("RAnkleRoll_contact");
    const auto& left = step.at("LAnkleRoll_force_z");
    const auto& right = step.at("RAnkleRoll_force_z");
    EXPECT_EQ(step.at("LAnkleRoll_contact"), std::vector<double>(in_contact.size(), 1)) << motion;
    EXPECT_GT(std::count(in_contact.begin(), in_contact.end(), 0), 100) << motion;
    EXPECT_GT(*std::max_element(right.begin(), right.end()), 0.5 * weight_) << motion;
    for (std::size_t s = 1; s < left.size(); ++s) {
      EXPECT_LT(std::abs(left[s] - left[s - 1]), 0.03 * weight_) << motion << " " << s;
      EXPECT_LT(std::abs(right[s] - right[s - 1]), 0.03 * weight_) << motion << " " << s;
    }
  }
}

// Five times as fast: whoever is thrown to the left pushes off over the right edge and is caught over the left one.
TEST_F(StandingTest, AFastStepTipsToBothSides) {
  write(directory_ / "motion.csv", read(KORVEL_MOTIONS "/fast_step.csv"));
  const Json json = ground(example);
  std::vector<std::string> directions;
  for (const Json& span : json.at("cannot_stand")) {
    EXPECT_EQ(span.at("why"), "tips");
    directions.push_back(span.at("direction"));
  }
  EXPECT_EQ(directions, (std::vector<std::string>{"to the right", "to the left", "to the left", "to the right"}));
}

// A robot below its ground, or above it, is told so.
TEST_F(StandingTest, SolesThatAreNotWhereTheGroundIsAreNamed) {
  write_accelerated({0, 0, 0});
  EXPECT_TRUE(ground(example).at("off_the_ground").empty());
  for (const auto& [height, words] :
       {std::pair("0.3", "LAnkleRoll counts as on the ground 300 mm below it, at 0.000 s"),
        std::pair("-0.3", "LAnkleRoll counts as on the ground 300 mm above it, at 0.000 s")}) {
    const std::string options = fmt::format(" --ground {}", height);
    EXPECT_EQ(ground(example + options).at("off_the_ground"), Json({"LAnkleRoll", "RAnkleRoll"}));
    const std::string told = host("run motion.csv -o results.csv " + example + options).out;
    EXPECT_EQ(told.find(words), 0U) << told;
  }
}

// Forces act where the soles are: with them the margin, wherever the ground is said to be.
TEST_F(StandingTest, TheReasonIsThatOfTheSolesHeight) {
  write_accelerated({4.2, 0, 0});
  for (const char* height : {"0", "1", "-1"}) {
    const Json spans = ground(example + " --ground " + height).at("cannot_stand");
    ASSERT_EQ(spans.size(), 1U) << height;
    EXPECT_EQ(spans.at(0).at("direction"), "backward") << height;
    EXPECT_NEAR(spans.at(0).at("excess").at("value").get<double>(), 0.0576, 1e-3) << height;
  }
}

// Left for right: y and what turns about x or z change their sign.
TEST_F(StandingTest, MirrorImagesHaveMirroredForces) {
  const std::string motion = KORVEL_MOTIONS "/weight_shift.csv";
  const Columns left = results_of(motion, example);
  const auto twin = [](std::string name) {
    if (name[0] == 'L' || name[0] == 'R') name[0] = name[0] == 'L' ? 'R' : 'L';
    return name;
  };
  const auto sign = [](const std::string& name) {
    const auto ends_with = [&](const std::string& end) {
      return name.size() >= end.size() && name.compare(name.size() - end.size(), end.size(), end) == 0;
    };
    const bool changes = name == "y" || ends_with("oll") || ends_with("aw");
    return changes ? -1.0 : 1.0;
  };
  write_changed(motion, [&](const Values& values) {
    Values mirrored;
    for (const auto& [name, value] : values) mirrored[name] = sign(name) * values.at(twin(name)) + 0.0;
    return mirrored;
  });
  const Columns right = results_of("motion.csv", example);
  for (std::size_t s = 0; s < left.at("time").size(); ++s) {
    for (const char* axis : {"x", "y", "z"}) {
      const auto force = [&](const Columns& run, const char* foot) {
        return run.at(fmt::format("{}AnkleRoll_force_{}", foot, axis))[s];
      };
      const double change = axis == std::string("y") ? -1 : 1;
      EXPECT_NEAR(force(left, "L"), change * force(right, "R"), 1e-5 * weight_) << axis << " " << s;
      EXPECT_NEAR(force(left, "R"), change * force(right, "L"), 1e-5 * weight_) << axis << " " << s;
    }
  }
}

TEST_F(StandingTest, ContactColumnsAreOfSolesAndZeroOrOne) {
  write(directory_ / "plain.csv", "time\n0\n0.01\n");
  const std::pair<const char*, const char*> cases[] = {
      {"time,Torso_contact\n0,1\n",
       "motion.csv:1: expected contact columns of bodies with a sole, found 'Torso_contact'"},
      {"time,LAnkle_contact\n0,1\n",
       "motion.csv:1: expected contact columns of bodies with a sole, found 'LAnkle_contact'"},
      {"time,_contact\n0,1\n",
       "motion.csv:1: expected a column named time, x, y, z, roll, pitch, yaw, qw, qx, qy, qz or as a joint, found "
       "'_contact'"},
      {"time,LAnkleRoll_contact\n0,1\n1,0.5\n",
       "motion.csv:3: expected 0 or 1 in column 'LAnkleRoll_contact', found 0.5"},
      {"time,LAnkleRoll_contact\n0,2\n", "motion.csv:2: expected 0 or 1 in column 'LAnkleRoll_contact', found 2"},
      {"time,LAnkleRoll_contact\n0,-1\n", "motion.csv:2: expected 0 or 1 in column 'LAnkleRoll_contact', found -1"},
      {"time,LAnkleRoll_contact\n0,yes\n",
       "motion.csv:2: expected a number in column 'LAnkleRoll_contact', found 'yes'"},
      {"time,LAnkleRoll_contact,LAnkleRoll_contact\n0,1,1\n",
       "motion.csv:1: expected each column once, found a second 'LAnkleRoll_contact'"},
  };
  for (const auto& [text, expected] : cases) {
    write(directory_ / "motion.csv", text);
    const Outcome outcome = host("run motion.csv -o results.csv " + example);
    EXPECT_EQ(outcome.status, 2) << text;
    EXPECT_NE(outcome.err.find(expected), std::string::npos) << outcome.err;
    EXPECT_EQ(files(), (std::vector<std::string>{"motion.csv", "plain.csv"}));
  }
  // A robot that is held has no use for them, and no quarrel with them.
  write(directory_ / "motion.csv", "time,Torso_contact\n0,1\n");
  for (const std::string& options : {std::string(), "--air " + example}) {
    EXPECT_EQ(host("run motion.csv -o results.csv " + options).status, 0) << options;
    EXPECT_EQ(columns().count("zmp_x"), 0U);
  }
}

}  // namespace
}  // namespace korvel::host
