// Another robot than the first, and what the command makes of it.

#include <nlohmann/json.hpp>
#include <regex>

#include "tests/host/support/command.h"

namespace korvel::host {
namespace {

class SecondRobot : public CommandTest {
 protected:
  std::string module = KORVEL_SECOND_ROBOT;

  std::string must_run(const std::string& arguments) const {
    const Outcome outcome = host(arguments);
    EXPECT_EQ(outcome.status, 0) << arguments << '\n' << outcome.out << outcome.err;
    return outcome.out;
  }

  /// The checks that were not possible, with their reasons.
  std::map<std::string, std::string> left_out(const std::string& arguments) const {
    must_run(fmt::format("validate {} --json -o out.json {}", module, arguments));
    std::map<std::string, std::string> reasons;
    const auto all = nlohmann::json::parse(read(directory_ / "out.json"));
    for (const auto& check : all["checks"]) {
      if (check["verdict"] == "not possible") reasons[check["id"]] = check["text"];
    }
    return reasons;
  }
};

// All that is promised but what is said of the first robot alone.
TEST_F(SecondRobot, KeepsThePromisesOfTheInterface) {
#ifndef KORVEL_SANITIZED
  EXPECT_EQ(left_out("--level 4").size(), 0U);
#endif
  EXPECT_EQ(left_out("--level 5 --only recorded"),
            (std::map<std::string, std::string>{
                {"fuzz.recorded-bits", "not of this robot: the recorded bits are another's"}}));
}

// Rounding errors are bounded by the masses that the robot has, whatever their size.
TEST_F(SecondRobot, KeepsThePromisesWithOtherMasses) {
  for (const char* robot : {KORVEL_HEAVY_SECOND_ROBOT, KORVEL_LIGHT_SECOND_ROBOT}) {
    must_run(fmt::format("validate {} --level 3", robot));
    for (int seed = 2; seed <= 5; ++seed) must_run(fmt::format("validate {} --only fuzz.short --seed {}", robot, seed));
  }
}

TEST_F(SecondRobot, IsDescribedExportedAndDrawn) {
  const std::string module_option = "--module " + module;
  EXPECT_NE(must_run("info " + module_option).find("9 bodies, 8 joint angles, total mass 62.25000 kg"),
            std::string::npos);
  must_run("export --urdf r.urdf --mjcf r.xml " + module_option);
  for (const char* file : {"r.urdf", "r.xml"}) {
    EXPECT_NE(read(directory_ / file).find("Camera2"), std::string::npos) << file;
  }
}

// At rest the blade's joint carries the blade: 5 kg, level at zero, 0.16 m from the axis.
TEST_F(SecondRobot, RunsAMotionAndShowsIt) {
  write(directory_ / "motion.csv", "time,z,Boom,Camera2\n0,0.3,0,0\n1,0.3,0.1,0.2\n");
  const std::string summary = must_run("run motion.csv -o results.csv --module " + module);
  EXPECT_EQ(summary.find("held by its root, no ground contact: the soles of this robot are not known"), 0U) << summary;
  EXPECT_TRUE(std::regex_search(summary, std::regex("\n  Blade +7\\.85 "))) << summary;
  if (std::filesystem::exists(KORVEL_REPORT_PAGE)) {
    must_run("report results.csv -o page.html");
    EXPECT_NE(read(directory_ / "page.html").find("Camera2"), std::string::npos);
  }
}

}  // namespace
}  // namespace korvel::host
