#include <cmath>
#include <regex>
#include <sstream>

#include "support/truth.h"
#include "tests/host/run/standing.h"

namespace korvel::host {
namespace {

constexpr double amplitude = 0.5;       // [rad]
constexpr double frequency = 2 * M_PI;  // [rad/s]
const std::string shoulder = "LShoulderPitch";

class Limits : public StandingTest {
 protected:
  /// The robot lies on its side, so that the axis of the shoulder is vertical. That joint alone moves, by a sine of one
  /// second. Samples are not evenly spaced; the peaks of angle, speed and torque are among them.
  void write_swing() {
    std::string text = fmt::format("time,roll,{}\n", shoulder);
    for (int i = 0; i <= 600; ++i) {
      const double time = i / 200.0 + 0.05 * std::sin(4 * M_PI * i / 200.0);
      text += fmt::format("{},{},{}\n", time, M_PI / 2, amplitude * std::sin(frequency * time));
    }
    write(directory_ / "motion.csv", text);
  }

  Json summary(const std::string& options) const {
    const Outcome outcome = succeeded("run motion.csv -o results.csv --json " + options);
    return outcome.status == 0 ? Json::parse(outcome.out).at("motions").at(0) : Json();
  }

  std::string limits(const std::string& rows) const {
    write(directory_ / "limits.csv", "joint,lower,upper,speed,torque\n" + rows);
    return "--limits limits.csv ";
  }
};

/// [kg m^2] of the bodies that the joint moves, at angles of zero, about its axis.
double inertia_about_axis() {
  const System system = Module(KORVEL_MODULE).create();
  const auto coordinate = 6 + static_cast<Eigen::Index>(system->getJointAngleId(shoulder));
  return tests::Truth(State(*system)).mass_matrix()(coordinate, coordinate);
}

// A constant inertia I on a vertical axis at A sin(w t): torque -I A w^2 sin(w t), speed A w cos(w t).
TEST_F(Limits, PeaksAreThoseOfASine) {
  write_swing();
  const Json run = summary("--air");
  const double torque = inertia_about_axis() * amplitude * frequency * frequency;
  const double speed = amplitude * frequency;
  ASSERT_GT(torque, 0.01);
  constexpr double spline = 2e-3;
  for (const Json& peak : run.at("peaks")) {
    if (peak.at("joint") != shoulder) continue;
    EXPECT_NEAR(peak.at("torque"), torque, spline * torque);
    EXPECT_NEAR(peak.at("rms_torque"), torque / std::sqrt(2), spline * torque);
    EXPECT_NEAR(peak.at("speed"), speed, spline * speed);
    EXPECT_NEAR(peak.at("power"), torque * speed / 2, spline * torque * speed);
  }
  // The joint gives back in one half of the cycle what it gave in the other.
  Columns all = columns();
  const std::vector<double>&time = all.at("time"), &power = all.at(shoulder + "_power");
  double work = 0;
  double moved = 0;
  for (std::size_t i = 1; i < time.size(); ++i) {
    work += (time[i] - time[i - 1]) * (power[i] + power[i - 1]) / 2;
    moved += (time[i] - time[i - 1]) * std::abs(power[i] + power[i - 1]) / 2;
  }
  EXPECT_NEAR(work, 0, spline * moved);
}

TEST_F(Limits, WhatExceedsThemIsNamedWithItsFirstTimeAndItsSamples) {
  write_swing();
  const Json run = summary("--air " + limits(shoulder + ",-0.4,0.6,3,1000\nHeadYaw,,0.1,,\nHeadPitch,,,,0.5\n"));
  Columns all = columns();
  const auto expected = [&](const char* ending, double bound, int sign) {
    const std::vector<double>& values = all.at(shoulder + ending);
    const auto is_beyond = [&](double value) { return sign == 0 ? std::abs(value) > bound : sign * value > bound; };
    const auto first = std::find_if(values.begin(), values.end(), is_beyond) - values.begin();
    return std::pair(std::count_if(values.begin(), values.end(), is_beyond),
                     all.at("time").at(static_cast<std::size_t>(first)));
  };
  const auto lower = expected("_angle", 0.4, -1);
  const auto speed = expected("_speed", 3, 0);
  ASSERT_GT(lower.first, 10);
  ASSERT_GT(speed.first, 10);
  std::map<std::string, Json> found;
  for (const Json& use : run.at("limits")) {
    found[use.at("joint").get<std::string>() + ' ' + use.at("limit").get<std::string>()] = use;
  }
  EXPECT_EQ(found.size(), 6U);
  EXPECT_EQ(found.at(shoulder + " lower").at("samples"), lower.first);
  EXPECT_EQ(found.at(shoulder + " lower").at("first"), lower.second);
  EXPECT_EQ(found.at(shoulder + " speed").at("samples"), speed.first);
  EXPECT_EQ(found.at(shoulder + " speed").at("first"), speed.second);
  // The middle is 0.1. The angles reach 0.6 and 0.4 of the 0.5 on either side.
  EXPECT_NEAR(found.at(shoulder + " lower").at("share"), 1.2, 1e-3);
  EXPECT_NEAR(found.at(shoulder + " upper").at("share"), 0.8, 1e-3);
  EXPECT_NEAR(found.at(shoulder + " speed").at("share"), amplitude * frequency / 3, 2e-3);
  EXPECT_TRUE(found.at("HeadYaw upper").at("share").is_null());
  for (const char* kept : {"LShoulderPitch upper", "LShoulderPitch torque", "HeadYaw upper", "HeadPitch torque"}) {
    EXPECT_EQ(found.at(kept).at("samples"), 0) << kept;
    EXPECT_TRUE(found.at(kept).at("first").is_null()) << kept;
  }
  for (const auto& [name, value] : {std::pair(shoulder + " lower", -0.4),
                                    {shoulder + " upper", 0.6},
                                    {shoulder + " speed", 3.0},
                                    {shoulder + " torque", 1000.0},
                                    {"HeadYaw upper", 0.1},
                                    {"HeadPitch torque", 0.5}}) {
    EXPECT_EQ(found.at(name).at("value"), value) << name;
  }
  // The report reads the limits from the description.
  const Json described = Json::parse(read(directory_ / "results.json")).at("limits");
  EXPECT_EQ(described, Json({{"verdict", "exceeds limits: 2 of 6\n"}, {"uses", run.at("limits")}}));

  const std::string text = host("run motion.csv -o results.csv --air --limits limits.csv").out;
  expect_has(text, "\nexceeds limits: 2 of 6\n\n");
  const std::size_t row = text.find("  " + shoulder + " lower");
  expect_has(text.substr(row, 81), fmt::format(" 120.0 %{:>12}{:>9.3f}\n", lower.first, lower.second));
}

// The number in the file and the same number in single precision are one.
TEST_F(Limits, AJointAtItsLimitIsWithinIt) {
  write(directory_ / "motion.csv", "time,HeadYaw\n0,0.1\n1,0.1\n2,0.1\n");
  const std::string text = host("run motion.csv -o results.csv --air " + limits("HeadYaw,-0.1,0.1,,\n")).out;
  expect_has(text, "\nstays within all 2 limits\n");
  expect_has(text, " 100.0 %\n");
}

// Whatever is computed of a joint at rest, the columns of the table stay apart, and no zero has a sign.
TEST_F(Limits, TheTableIsReadableForJointsAtRest) {
  const std::string run = fmt::format("run '{}/fast_step.csv' -o results.csv ", KORVEL_MOTIONS);
  const std::string text = host(run + "--all --limits " KORVEL_MOTIONS "/../limits.csv").out;
  std::istringstream lines(text.substr(text.find("Use of the limits")));
  std::string line;
  std::getline(lines, line);
  EXPECT_EQ(line.substr(line.size() - 17), " samples from [s]");
  const std::string number = R"( +(?!-0\.0+ )-?[\d.]+)";
  const std::regex row(R"(  \w+ (lower|upper|speed|torque))" + number + number + " (rad|rad/s|N m)" + number +
                       R"( %( +\d+ +[\d.]+)?)");
  std::size_t rows = 0;
  for (; std::getline(lines, line) && !line.empty(); ++rows) EXPECT_TRUE(std::regex_match(line, row)) << line;
  EXPECT_EQ(rows, 96U);
  // An angle with one limit alone has no share, however much of it is used.
  const std::string few = host(run + limits("HeadYaw,,0.001,,\nHeadPitch,-1,1,1,1\nLHipRoll,-1,1,,\n")).out;
  expect_has(few, "\n  2 more limits (--all)\n");
}

TEST_F(Limits, AMotionIsFeasibleWithinThem) {
  const std::string run = fmt::format("run '{}/squat.csv' -o results.csv --require-feasible ", KORVEL_MOTIONS);
  succeeded(run + limits("LHipPitch,,,,1.8\n"));
  const Outcome exceeded = host(run + limits("LHipPitch,,,,1.6\n"));
  EXPECT_EQ(exceeded.status, 1);
  EXPECT_EQ(exceeded.out.rfind("stays on its feet throughout\nexceeds limits: 1 of 1\n", 0), 0U) << exceeded.out;
}

TEST_F(Limits, FilesThatAreWrongAreRefusedByFileAndLine) {
  write(directory_ / "motion.csv", "time\n0\n1\n2\n");
  const std::string head = "joint,lower,upper,speed,torque\n";
  const std::pair<std::string, const char*> cases[] = {
      {"", "1: expected a header row, found an empty file"},
      {"# joint,lower\n", "1: expected a header row, found an empty file"},
      {head, "2: expected a joint, found the end of the file"},
      {head + "HeadYaw,,,,\nHeadPitch,,,,\n", " expected a limit of a joint, found only empty fields"},
      {"joint,lower,upper,speed\n", "1: expected the columns joint, lower, upper, speed, torque, found no 'torque'"},
      {"joint,lower,upper,velocity,torque\n",
       "1: expected the columns joint, lower, upper, speed, torque, found 'velocity'"},
      {"# rad\n\n" + head + "# N m\nHeadYaw,0,1,1\n", "5: expected 5 columns, found 4"},
      {head + "HeadJaw,0,1,1,1\n", "2: expected the name of a joint, found 'HeadJaw' (did you mean HeadYaw?)"},
      {head + "Torso,0,1,1,1\n", "2: expected the name of a joint, found 'Torso'"},
      {head + "HeadYaw,,,,1\nHeadYaw,0,1,,\n", "3: expected each joint once, found a second 'HeadYaw'"},
      {head + "HeadYaw,1,-1,1,1\n", "2: expected a lower limit below the upper limit, found 1 and -1"},
      {head + "HeadYaw,1,1,1,1\n", "2: expected a lower limit below the upper limit, found 1 and 1"},
      {head + "HeadYaw,0,1,-2,1\n", "2: expected a speed above 0, or an empty field for no limit, found -2"},
      {head + "HeadYaw,0,1,2,0\n", "2: expected a torque above 0, or an empty field for no limit, found 0"},
      {head + "HeadYaw,0,nan,,\n", "2: expected a finite single-precision number in column 'upper', found 'nan'"},
      {head + "HeadYaw,0,1,2,inf\n", "2: expected a finite single-precision number in column 'torque', found 'inf'"},
      {head + "HeadYaw,0,1,fast,\n", "2: expected a number in column 'speed', found 'fast'"}};
  for (const auto& [text, message] : cases) {
    write(directory_ / "limits.csv", text);
    for (const char* command : {"run motion.csv -o results.csv", "export --urdf robot.urdf --mjcf robot.xml"}) {
      expect_refused(fmt::format("{} --limits limits.csv", command),
                     fmt::format("korvel-host: error: limits.csv:{}\n", message));
    }
  }
  EXPECT_EQ(host("run motion.csv -o limits.csv --limits limits.csv").status, 2);
  EXPECT_EQ(host("export --urdf limits.csv --limits limits.csv").status, 2);
}

}  // namespace
}  // namespace korvel::host
