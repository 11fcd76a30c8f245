// Samples of a recording, where its numbers are not finite and where its program set wrenches.

#include "host/robot/frames.h"
#include "host/robot/module.h"
#include "tests/recorder/recorded.h"

namespace korvel::host {
namespace {

class Samples : public Recorded {
 protected:
  std::vector<std::vector<std::string>> rows_of(const char* file) const {
    std::vector<std::vector<std::string>> rows;
    read_csv(directory_ / file, [&](const CsvRow& row) { rows.push_back(row.fields); });
    return rows;
  }
  static bool has_gap(const std::vector<std::string>& row) { return std::count(row.begin(), row.end(), "nan") > 0; }
};

// The samples before and after are complete. Each gap has the call that brought it: the first one that set such
// numbers, or else the computation.
TEST_F(Samples, NumbersThatAreNotFiniteAreGaps) {
  ASSERT_EQ(record("gaps"), 0);
  std::map<std::string, std::vector<CallPosition>> at;
  each_call(recording(), [&](const RecordedCall& call) { at[call.operation.name].push_back(call.position()); });
  const Outcome outcome = replay(recording(), "--results results.csv --csv motion.csv");
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  const auto results = rows_of("results.csv");
  ASSERT_EQ(results.size(), 1U + 6);
  for (std::size_t i = 1; i < results.size(); ++i) EXPECT_EQ(has_gap(results[i]), i % 2 == 0) << i;
  for (const auto& row : results) {
    for (const std::string& field : row)
      EXPECT_TRUE(field != "-nan" && field.find("inf") == std::string::npos) << field;
  }
  const nlohmann::json gaps = nlohmann::json::parse(read(directory_ / "results.json"))["gaps"];
  ASSERT_EQ(gaps.size(), 3U);
  const std::pair<std::string, CallPosition> brought_by[] = {
      {"setJointAnglesVel", at["setJointAnglesVel"][1]},
      {"setRootPose", at["setRootPose"][3]},
      {"computeInverseDynamics", at["computeInverseDynamics"][5]}};
  for (std::size_t i = 0; i < 3; ++i) {
    const auto& [name, position] = brought_by[i];
    EXPECT_EQ(gaps[i]["call"].get<std::string>().find(fmt::format("{}, call {} of object 1, ", name, position.call)),
              0U)
        << gaps[i];
    EXPECT_EQ(gaps[i]["from"], std::stod(results[2 + 2 * i][0]));
    EXPECT_EQ(gaps[i]["to"], gaps[i]["from"]);
  }
  expect_has(outcome.out, "NaN or infinity in 3 gaps; the first is from ");
  expect_has(outcome.out, "\n  setJointAnglesVel, call ");

  // The velocities are no part of a motion. What runs it names the place.
  EXPECT_EQ(rows_of("motion.csv").size(), 1U + 6);
  expect_refused("run motion.csv -o again.csv",
                 "motion.csv:5: expected a finite single-precision number in column 'x', found 'nan'");
  // The page has the gaps, too.
  EXPECT_EQ(host("report results.csv -o page.html").status, std::filesystem::exists(KORVEL_REPORT_PAGE) ? 0 : 2);
}

// A setter that has cured a number of another setter, or of an overload, is not to blame, nor is the cured one. What
// all objects share may be set by any of them.
TEST_F(Samples, AGapHasTheLastSetterOfItsNumber) {
  ASSERT_EQ(record("cured"), 0);
  ASSERT_EQ(replay(recording(), "--results results.csv").status, 0);
  const nlohmann::json gaps = nlohmann::json::parse(read(directory_ / "results.json"))["gaps"];
  std::vector<std::string> setters;
  for (const nlohmann::json& gap : gaps) {
    const std::string call = gap["call"];
    setters.push_back(call.substr(0, call.find(',')));
    EXPECT_EQ(gap["from"], gap["to"]);
  }
  EXPECT_EQ(setters,
            (std::vector<std::string>{"setJointAnglePos", "setExternalWrench", "setJointAnglesVel", "setBodyInertia"}));
}

// In the world, about the origins of the bodies.
TEST_F(Samples, WrenchesThatAProgramSetAreColumns) {
  ASSERT_EQ(record("gaps"), 0);
  ASSERT_EQ(replay(recording(), "--results results.csv").status, 0);
  const auto columns = columns_in("results.csv");
  const System robot = Module(KORVEL_MODULE).create();
  QZ::Math::Transform quarter;
  quarter.r00 = quarter.r11 = 0;
  quarter.r10 = 1;
  quarter.r01 = -1;
  robot->setRootPose(quarter);
  const Eigen::Vector3d force(1, 2, 3);
  const Eigen::Vector3d moment(4, 5, 6);
  // The second wrench is given in a frame that is turned by 90 degrees and half a metre ahead.
  const Eigen::Vector3d turned_force(-2, 1, 3);
  const Eigen::Vector3d turned_moment(-5, 4 - 0.5 * 3, 6 + 0.5 * 1);
  for (const std::size_t sample : {0U, 2U, 4U}) {
    robot->setJointAnglesPos(Eigen::ArrayXf::Constant(24, 0.1F * static_cast<float>(sample)));
    robot->computeFwdKinematics();
    const auto expect = [&](unsigned long body, const std::string& quantity, const Eigen::Vector3d& in_body) {
      const Eigen::Vector3d world = isometry(robot->getPose(body)).linear() * in_body;
      for (int axis = 0; axis < 3; ++axis) {
        const std::string name = fmt::format("{}_applied_{}_{}", robot->getBodyName(body), quantity, "xyz"[axis]);
        EXPECT_NEAR(columns.at(name).at(sample), world[axis], 1e-5) << name << ", sample " << sample;
      }
    };
    expect(13, "force", force);
    expect(13, "moment", moment);
    expect(20, "force", turned_force);
    expect(20, "moment", turned_moment);
  }
  std::size_t applied = 0;
  for (const auto& [name, values] : columns) applied += name.find("_applied_") != std::string::npos ? 1U : 0U;
  EXPECT_EQ(applied, 12U) << "other bodies have none";
}

// A wrench that vanished before has no columns, neither of the times nor of the part that is cut from them.
TEST_F(Samples, APartHasTheColumnsOfItsTimes) {
  ASSERT_EQ(record("cured"), 0);
  double vanished = 0;
  each_call(recording(), [&](const RecordedCall& call) {
    if (call.is<&Interface::clone>()) vanished = call.time;
  });
  const auto columns = [&](const std::filesystem::path& file, const std::string& options) {
    EXPECT_EQ(replay(file, "--object 1 --results results.csv " + options).status, 0);
    std::vector<std::string> names;
    for (const auto& [name, values] : columns_in("results.csv")) names.push_back(name);
    return names;
  };
  const std::string window = fmt::format("--from {:.17g}", vanished);
  ASSERT_EQ(replay(recording(), "--cut part.rec " + window).status, 0);
  EXPECT_EQ(columns("part.rec", ""), columns(recording(), window));
}

}  // namespace
}  // namespace korvel::host
