#include "tests/host/run/standing.h"

namespace korvel::host {
namespace {

constexpr double pi = 3.14159265358979323846;

// The columns alone are checked, where motions pause: on one foot, on both feet, on one foot ahead of the other.
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
    EXPECT_LT(std::hypot(all.at("zmp_x")[row] - all.at("com_x")[row], all.at("zmp_y")[row] - all.at("com_y")[row]),
              1e-4)
        << motion << " " << time;
    EXPECT_LT(force.norm(), 1e-4 * weight_) << motion << " " << time;
    // A tenth of a millimetre.
    EXPECT_LT(moment_about_com.norm(), 1e-4 * weight_) << motion << " " << time;
  }
}

TEST_F(StandingTest, FreeFlightNeedsNothing) {
  write_accelerated({0, 0, -9.81}, false);
  const Outcome outcome = host("run motion.csv -o results.csv --require-feasible " + example);
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.out.find("in flight throughout"), 0U) << outcome.out;
  const Json flight = ground(example);
  EXPECT_EQ(flight.at("stands_throughout"), false);
  EXPECT_TRUE(flight.at("cannot_stand").empty());
  EXPECT_EQ(flight.at("in_flight"), (Json{{"samples", 21}, {"from", 0.0}, {"to", 0.2}}));
  const Columns all = columns();
  EXPECT_EQ(all.at("feasible"), std::vector<double>(21, 1));
  for (const double residual : all.at("contact_residual")) EXPECT_LT(residual, 1e-5);
  for (const double force : all.at("LAnkleRoll_force_z")) EXPECT_EQ(force, 0);
  // And a robot that is at rest in the air needs all of its weight.
  write_accelerated({0, 0, 0}, false);
  const Json json = ground(example);
  EXPECT_EQ(json.at("stands_throughout"), false);
  EXPECT_EQ(json.at("cannot_stand").at(0).at("why"), "no contact");
  EXPECT_TRUE(json.at("in_flight").is_null());
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

// The margin is that of the samples in which the robot stands, not of those in which it tips.
TEST_F(StandingTest, MarginsAreOfTheSamplesThatStand) {
  const std::string options = soles(2);
  write_moved(
      [](double t) -> Eigen::Vector3d {
        return {t < 0.1 ? 0 : 50 * std::pow(t - 0.1, 3), 0, 0};
      },
      {",LAnkleRoll_contact,RAnkleRoll_contact", ",1,1"});
  const Json json = ground(options);
  ASSERT_EQ(json.at("cannot_stand").at(0).at("why"), "tips");
  const Json margin = json.at("margins").at("zmp_inside");
  EXPECT_GE(margin.at("value").get<double>(), 0);
  EXPECT_LT(margin.at("time"), json.at("cannot_stand").at(0).at("from"));
}

// A foot that slides while the robot tips: its slip is no margin of the samples in which the robot stands.
TEST_F(StandingTest, SlipAndHeightAreOfAllSamplesInContact) {
  write_accelerated({6, 0, 0});
  const Json json = ground(soles(2));
  ASSERT_EQ(json.at("cannot_stand").at(0).at("to"), 0.2);
  const Json foot = json.at("margins").at("soles").at(0);
  EXPECT_TRUE(foot.at("most_load").is_null());
  EXPECT_NEAR(foot.at("slip").at("value").get<double>(), 0.12, 1e-3);
  const std::string text = host("run motion.csv -o results.csv --soles soles.csv").out;
  const std::size_t stands = text.find("Worst margins while on its feet");
  const std::size_t contact = text.find("Soles in contact, in all samples");
  ASSERT_NE(contact, std::string::npos) << text;
  EXPECT_LT(stands, contact);
  EXPECT_GT(text.find("slip"), contact);
  EXPECT_GT(text.find("distance from the ground"), contact);
}

TEST_F(StandingTest, RequireFeasibleMakesItAnExitStatus) {
  write_accelerated({0, 0, 0});
  EXPECT_EQ(host("run motion.csv -o results.csv --require-feasible " + example).status, 0);
  write_accelerated({6, 0, 0});
  const Outcome outcome = host("run motion.csv -o results.csv --require-feasible " + example);
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err, "");
  EXPECT_EQ(outcome.out.find("the robot cannot stay on its feet: 1 interval\n  0.000 to 0.200 s  tips backward by "),
            0U)
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

}  // namespace
}  // namespace korvel::host
