// Motions as other tools export them, without soles, without a root, measured, at a wrong height.

#include <algorithm>
#include <cmath>
#include <functional>
#include <random>
#include <regex>

#include "tests/host/support/command.h"

namespace korvel::host {
namespace {

class Unprepared : public CommandTest {
 protected:
  /// Writes an example motion as motion.csv, of which `change` may change a field or leave it out.
  void write_changed(const std::string& motion,
                     const std::function<std::string(const std::string& column, double value)>& change) const {
    std::vector<std::string> names;
    std::string text;
    read_csv(fmt::format("{}/{}.csv", KORVEL_MOTIONS, motion), [&](const CsvRow& row) {
      const bool is_header = names.empty();
      if (is_header) names = row.fields;
      std::vector<std::string> fields;
      for (std::size_t i = 0; i < names.size(); ++i) {
        std::string changed = change(names[i], is_header ? 0 : std::stod(row.fields[i]));
        if (!changed.empty()) fields.push_back(is_header ? names[i] : std::move(changed));
      }
      text += fmt::format("{}\n", fmt::join(fields, ","));
    });
    write(directory_ / "motion.csv", text);
  }
};

TEST_F(Unprepared, RobotsStandOnTheSolesOfTheExamples) {
  const std::string squat = fmt::format("run '{}/squat.csv' ", KORVEL_MOTIONS);
  succeeded(squat);
  succeeded(fmt::format("{} --soles '{}/soles.csv' -o named.csv", squat, KORVEL_MOTIONS));
  EXPECT_EQ(read(directory_ / "squat-results.csv"), read(directory_ / "named.csv"));
  EXPECT_EQ(read(directory_ / "squat-results.json"), read(directory_ / "named.json"));
}

TEST_F(Unprepared, JointsAloneStandAsTheyDoWithTheRoot) {
  for (const char* motion : {"squat", "weight_shift", "slow_step", "fast_step"}) {
    const std::string root[] = {"x", "y", "z", "roll", "pitch", "yaw"};
    write_changed(motion, [&](const std::string& column, double value) {
      return std::count(std::begin(root), std::end(root), column) > 0 ? "" : fmt::format("{}", value);
    });
    EXPECT_EQ(host("run motion.csv").out.find("held by its torso at the origin, no verdict"), 0U);
    const Outcome placed = host("run motion.csv --root-from-feet -o placed.csv");
    const Outcome given = host(fmt::format("run '{}/{}.csv' -o given.csv", KORVEL_MOTIONS, motion));
    const auto verdict = [](const Outcome& outcome) { return outcome.out.substr(0, outcome.out.find("\n\n")); };
    EXPECT_EQ(verdict(placed).substr(0, 40), verdict(given).substr(0, 40));
    float peak = 0;
    float apart = 0;
    const auto expected = columns_in("given.csv");
    for (const auto& [name, column] : columns_in("placed.csv")) {
      if (name.find("_torque") == std::string::npos) continue;
      for (std::size_t i = 0; i < column.size(); ++i) {
        peak = std::max(peak, std::abs(column[i]));
        apart = std::max(apart, std::abs(column[i] - expected.at(name)[i]));
      }
    }
    EXPECT_LT(apart, 1e-3F * peak) << motion;
  }
}

// The loads of a motion on the ground are not those of the next one, which hangs.
TEST_F(Unprepared, MotionsDoNotLoadOneAnother) {
  std::filesystem::create_directory(directory_ / "all");
  write(directory_ / "motion.csv", "time,LKneePitch\n0,0.2\n1,0.3\n");
  succeeded("run motion.csv -o alone.csv");
  succeeded(fmt::format("run '{}/squat.csv' motion.csv -j 1 -o all", KORVEL_MOTIONS));
  EXPECT_EQ(read(directory_ / "all/motion-results.csv"), read(directory_ / "alone.csv"));
}

// The plane of a sole is that of all of its corners.
TEST_F(Unprepared, UnevenSolesSupportTheRoot) {
  std::string soles = "body,x,y,z,friction\n";
  for (const char* foot : {"LAnkleRoll", "RAnkleRoll"}) {
    for (int i = 0; i < 24; ++i) {
      const double angle = 2 * 3.14159265 * i / 24;
      soles += fmt::format("{},{},{},{},0.6\n", foot, -0.045 + (i % 2 == 0 ? 2e-4 : -2e-4), 0.04 * std::cos(angle),
                           0.025 + 0.075 * std::sin(angle));
    }
  }
  write(directory_ / "uneven.csv", soles);
  write_changed("squat", [&](const std::string& column, double value) {
    return column.size() < 6 && column != "time" ? "" : fmt::format("{}", value);
  });
  const Outcome outcome = host("run motion.csv --root-from-feet --soles uneven.csv");
  EXPECT_EQ(outcome.out.find("stays on its feet throughout\n"), 0U) << outcome.out.substr(0, 200);
}

TEST_F(Unprepared, MeasuredMotionsStandWithTheProposedCutoff) {
  std::mt19937 random(7);
  std::normal_distribution<double> noise(0, 2e-4);
  write_changed("squat", [&](const std::string& column, double value) {
    return column == "time" ? fmt::format("{}", value) : fmt::format("{:.5f}", value + noise(random));
  });
  const Outcome raw = host("run motion.csv");
  std::smatch hint;
  ASSERT_TRUE(std::regex_search(raw.err, hint, std::regex("noise of about 0\\.000[12].* (--cutoff [0-9.]+) ")))
      << raw.err;
  EXPECT_EQ(host("run motion.csv " + hint.str(1)).out.find("stays on its feet throughout\n"), 0U);
}

TEST_F(Unprepared, AHeightAboveTheGroundIsToldWithItsRemedy) {
  write_changed("squat", [&](const std::string& column, double value) {
    return fmt::format("{}", column == "z" ? value + 0.01 : value);
  });
  const std::string told = host("run motion.csv").out;
  EXPECT_EQ(told.find("the lowest sole is 10.0 mm above the ground (at "), 0U) << told;
  ASSERT_NE(told.find("  --ground 0.0100 puts the ground there\n"), std::string::npos) << told;
  EXPECT_EQ(host("run motion.csv --ground 0.0100").out.find("stays on its feet throughout\n"), 0U);
}

}  // namespace
}  // namespace korvel::host
