#include "tests/host/support/command.h"

#include <csv.h>
#include <dlfcn.h>
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <Eigen/Core>
#include <nlohmann/json.hpp>
#include <sstream>

#include "host/robot/module.h"
#include "host/robot/robot.h"

namespace korvel::host {
namespace {

class Command : public CommandTest {};

// Status 2, one line, and the directory as it was.
TEST_F(Command, UnusableInputIsRefusedAndLeavesNothingBehind) {
  write(directory_ / "good.csv", "time\n0\n");
  write(directory_ / "bad.csv", "time,LKneePitch\n0,1\n1,abc\n");
  write(directory_ / "old.csv", "old results\n");
  write(directory_ / "old-results.csv", "of another program\n");
  write(directory_ / "motion.json", "time\n0\n");
  std::filesystem::create_directory(directory_ / "directory");

  Dl_info no_module;
  ASSERT_NE(dladdr(reinterpret_cast<void*>(&csv_init), &no_module), 0);
  const std::pair<std::string, const char*> cases[] = {
      {"run bad.csv -o results.csv", "bad.csv:3: expected a number in column 'LKneePitch', found 'abc'"},
      {"run none.csv -o results.csv", "none.csv: cannot read: No such file or directory"},
      {"run good.csv -o nowhere/results.csv", "cannot write: the directory 'nowhere' does not exist"},
      {"run good.csv bad.csv -o directory", "bad.csv:3: "},
      {"run good.csv old.csv -o results.csv",
       "results.csv: expected a directory that exists for the results of 2 motions"},
      {"run motion.json -o motion.csv", "motion.json: cannot write: would replace a motion"},
      {"run good.csv -o results.json", "results.json: cannot write: would replace another output"},
      {"info --module libm.so.6", "No such file"},  // in the directory, not where the loader looks
      {fmt::format("info --module {}", no_module.dli_fname), "undefined symbol: create"},
      {"run good.csv good.csv --report page.html", "run: --report takes one motion"},
      {"run good.csv --report good.csv", "would replace"},
      {"run good.csv --air --root-from-feet", "run: --air cannot be combined with --root-from-feet"},
      {"run old.csv", "old-results.csv: cannot write: would replace a file that is no results"},
      {"info --json --dot", "info: --json cannot be combined with --dot"},
      {"expotr", "did you mean export?"},
      {"help expotr", "did you mean export?"},
      {"run good.csv --cutof 5 -o results.csv", "run: unknown option '--cutof' (did you mean --cutoff?)"},
      {"export --urdf ''", "expected the path of an output file"},
      {"export --urdf old.csv --mjcf directory", "directory: cannot write"},
      {"export --urdf", "export: --urdf: its value is missing"},
      {"run good.csv --cutoff 5 --cutoff 6", "run: --cutoff: expected once"},
      {"validate --only no-such-check", "no check up to level 4 matches 'no-such-check'"},
      {"", "name a command; see 'korvel-host --help'"},
  };
  for (const auto& [arguments, words] : cases) expect_refused(arguments, words);
}

// Results that do not fit are not left half written.
TEST_F(Command, FailedWritingLeavesNothingBehind) {
  std::filesystem::copy(KORVEL_MOTIONS "/wave.csv", directory_.path());
  write(directory_ / "results.csv", "old results\n");
  expect_refused("run wave.csv -o results.csv", "results.csv: cannot write: File too large\n",
                 "trap '' XFSZ && ulimit -f 64");
}

// Rates fit into single precision, what is computed from them does not: no results, and no summary.
TEST_F(Command, ResultsThatAreNotFiniteAreRefused) {
  write(directory_ / "good.csv", "time\n0\n1\n");
  write(directory_ / "fast.csv", "time,HeadYaw\n0,0\n1,1e25\n2,-1e25\n3,1e25\n");
  std::filesystem::create_directory(directory_ / "all");
  const auto before = contents();
  for (const char* arguments : {"run fast.csv -o results.csv", "run good.csv fast.csv -o all"}) {
    const Outcome outcome = host(arguments);
    EXPECT_EQ(outcome.status, 2) << arguments;
    EXPECT_EQ(outcome.out, "") << arguments;
    // Below doubts about such a motion.
    expect_has(outcome.err,
               "fast.csv:2: expected a motion with results within single precision, 'HeadPitch_torque' is not\n");
    EXPECT_EQ(contents(), before) << arguments;
  }
}

// Side by side as one by one.
TEST_F(Command, MotionsSideBySideHaveTheirOwnResults) {
  constexpr const char* names[] = {"squat", "wave", "weight_shift"};
  std::filesystem::create_directory(directory_ / "all");
  std::string motions;
  for (const char* name : names) motions += fmt::format("'{}/{}.csv' ", KORVEL_MOTIONS, name);
  const Outcome outcome = succeeded(fmt::format("run {} -o all --jobs 2 --air", motions));
  EXPECT_EQ(outcome.err, "");
  std::size_t place = 0;
  for (const char* name : names) {
    succeeded(fmt::format("run '{}/{}.csv' -o alone.csv --air", KORVEL_MOTIONS, name));
    EXPECT_EQ(read(directory_ / fmt::format("all/{}-results.csv", name).c_str()), read(directory_ / "alone.csv"));
    const std::size_t found = outcome.out.find(fmt::format("/{}.csv\nheld by its torso", name));
    EXPECT_GE(found, place) << name;
    place = found;
  }
  EXPECT_NE(place, std::string::npos);
}

TEST_F(Command, MoreMotionsThanFilesMayBeOpen) {
  std::filesystem::create_directory(directory_ / "all");
  std::string motions;
  for (int i = 0; i < 60; ++i) {
    const std::string name = fmt::format("{}.csv", i);
    write(directory_ / name.c_str(), "time\n0\n1\n");
    motions += name + ' ';
  }
  succeeded(fmt::format("run {} -o all", motions), "ulimit -n 30");
  for (int i = 0; i < 60; ++i) {
    EXPECT_TRUE(std::filesystem::exists(directory_ / fmt::format("all/{}-results.csv", i).c_str())) << i;
  }
}

// Text for people fits an old terminal, whatever the command.
TEST_F(Command, OutputFitsEightyColumns) {
  std::filesystem::copy(KORVEL_MOTIONS, directory_.path());
  std::filesystem::copy(KORVEL_RECORDING, directory_ / "old.rec");
  std::filesystem::copy(KORVEL_MODULE, directory_ / "module.so");
  for (const char* command :
       {"run squat.csv --soles soles.csv -o squat-results.csv", "run fast_step.csv --soles soles.csv -o fast.csv --all",
        "info", "soak --cycles 20", "validate ./module.so -v --level 2", "replay old.rec -v", "replay old.rec --stats",
        "replay old.rec --results odd.csv", "export --urdf robot.urdf --mjcf robot.xml"}) {
    const Outcome outcome = succeeded(fmt::format("{} {}", command, command[0] == 'v' ? "" : "--module ./module.so"));
    EXPECT_NE(outcome.out, "") << command;
    std::istringstream lines(outcome.out);
    for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), 80U) << command << '\n' << line;
  }
}

// A terminal sees how far a command is, and the verdict in colour; NO_COLOR and files do not.
TEST_F(Command, TerminalsSeeColoursAndProgress) {
  const std::string run = fmt::format("script -qec \"'{}' run '{}/squat.csv' -o results.csv\" /dev/null",
                                      KORVEL_HOST_EXECUTABLE, KORVEL_MOTIONS);
  const std::string seen = shell("TERM=xterm " + run).out;
  expect_has(seen, "\x1b[32mstays on its feet throughout\x1b[0m");
  const std::string replayed =
      shell(fmt::format("script -qec \"'{}' replay '{}'\" /dev/null", KORVEL_HOST_EXECUTABLE, KORVEL_RECORDING)).out;
  expect_has(replayed, "operations.rec: 50 %");
  const std::string checked = shell(fmt::format("script -qec \"'{}' validate '{}' --level 1\" /dev/null",
                                                KORVEL_HOST_EXECUTABLE, KORVEL_MODULE))
                                  .out;
  expect_has(checked, "validate: 100 %\r\x1b[K  loading");
  for (const char* plain : {"NO_COLOR=1 TERM=xterm ", "TERM=dumb "}) {
    const std::string text = shell(plain + run).out;
    expect_has(text, "stays on its feet throughout");
    EXPECT_EQ(text.find("[32m"), std::string::npos) << text;
  }
}

// Programs read what the interface says, and people read the same bodies and conventions.
TEST_F(Command, InfoShowsTheRobotAsATableAndAsJson) {
  const Outcome outcome = succeeded("info --json");
  const auto robot = nlohmann::json::parse(outcome.out);
  const std::string table = host("info").out;
  const System system = Module(KORVEL_MODULE).create();
  system->computeFwdKinematics();
  const auto parents = system->getParentsVector();
  ASSERT_EQ(robot["bodies"].size(), system->getNbBodies());
  EXPECT_EQ(robot["mass"].get<float>(), system->getMass());
  expect_has(table, fmt::format("total mass {:.5f} kg", system->getMass()));
  using Floats = std::vector<float>;
  const auto expect_near = [](const Floats& seen, const Floats& expected, float tolerance) {
    for (std::size_t i = 0; i < 3; ++i) EXPECT_NEAR(seen.at(i), expected.at(i), tolerance);
  };
  for (unsigned long b = 0; b < system->getNbBodies(); ++b) {
    SCOPED_TRACE(b);
    const auto& body = robot["bodies"][b];
    EXPECT_EQ(body["index"], b);
    EXPECT_EQ(body["name"], system->getBodyName(b));
    expect_has(table, fmt::format("\n{:>4}  {} ", b, system->getBodyName(b)));
    EXPECT_EQ(body["mass"].get<float>(), system->getMass(b));
    const QZ::Math::Transform& pose = system->getPose(b);
    EXPECT_EQ(body["origin_root"].get<Floats>(), (Floats{pose.tx, pose.ty, pose.tz})) << body;
    const auto com_body = body["com_body"].get<Floats>();
    const QZ::Math::Position3D com = pose * QZ::Math::Position3D(com_body[0], com_body[1], com_body[2]);
    const QZ::Math::Position3D shown = system->getComPosition(b);
    expect_near({com.x, com.y, com.z}, {shown.x, shown.y, shown.z}, 1e-6F);
    if (b == 0) {
      EXPECT_TRUE(body["parent"].is_null());
      EXPECT_EQ(body["coordinates"], (std::vector<int>{0, 1, 2, 3, 4, 5}));
      continue;
    }
    EXPECT_EQ(body["parent"], parents[b]);
    EXPECT_EQ(body["joint"], system->getJointAngleName(b - 1));
    EXPECT_EQ(body["joint_angle"], b - 1);
    EXPECT_EQ(body["coordinates"], std::vector<unsigned long>{5 + b});
    // The joint's column of the jacobian begins with its axis.
    const Eigen::Vector3f axis = system->getJacobianInRoot().col(static_cast<Eigen::Index>(5 + b)).head<3>();
    expect_near(body["axes_root"]["z"], {axis.x(), axis.y(), axis.z()}, 2e-6F);
    expect_near(body["axes_root"]["x"], {pose.r00, pose.r10, pose.r20}, 2e-6F);
  }
  for (const auto& [subject, text] : robot["conventions"].items()) {
    const std::string line = fmt::format("\n{:<12}  {}\n", subject, text.get<std::string>());
    expect_has(table, line);
  }
  expect_has(robot["conventions"]["com jacobian"].get<std::string>(), "the host divides");
}

}  // namespace
}  // namespace korvel::host
