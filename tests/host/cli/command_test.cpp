#include "tests/host/support/command.h"

#include <csv.h>
#include <dlfcn.h>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <nlohmann/json.hpp>

#include "host/motion/motion.h"
#include "host/motion/root_motion.h"
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
  std::filesystem::create_directory(directory_ / "directory");
  ASSERT_EQ(mkfifo((directory_ / "pipe").c_str(), 0600), 0);
  const std::vector<std::string> before = files();

  Dl_info no_module;
  ASSERT_NE(dladdr(reinterpret_cast<void*>(&csv_init), &no_module), 0);
  const std::pair<std::string, const char*> cases[] = {
      {"run bad.csv -o results.csv", "bad.csv:3: expected a number in column 'LKneePitch', found 'abc'"},
      {"run bad.csv -o old.csv", "bad.csv:3: "},
      {"run none.csv -o results.csv", "none.csv: cannot read: No such file or directory"},
      {"run directory -o results.csv", "directory: expected a file, found a directory"},
      {"run good.csv -o nowhere/results.csv", "No such file or directory"},
      {"run good.csv bad.csv -o directory", "bad.csv:3: "},
      {"run good.csv good.csv -o directory", "directory/good-results.csv: cannot write: would replace another output"},
      {"run good.csv old.csv -o results.csv", "results.csv: expected a directory for the results of 2 motions"},
      {"run good.csv -o pipe", "pipe: cannot write"},  // stands for devices: a fault must not cost the machine one
      {"run good.csv -o good.csv", "good.csv: cannot write: would replace a motion"},
      {"run good.csv -o results.csv --module bad.csv",
       "cannot load module 'bad.csv': expected a shared library, found none"},
      {"info --module none.so", "cannot load module 'none.so': "},
      {"info --module libm.so.6", "No such file"},  // in the directory, not where the loader looks
      {fmt::format("info --module {}", no_module.dli_fname), "undefined symbol: create"},
      {"run good.csv", "--output is required"},
      {"run -o results.csv", "MOTION is required"},
      {"info --colour", "--colour"},
      {"info --json --dot", "excludes"},
      {"export", "required"},
      {"export --urdf ''", "expected the path of an output file"},
      {"export --urdf old.csv --mjcf directory", "directory: cannot write"},
      {"export --urdf model --mjcf model", "model: cannot write: would replace another output"},
      {"export --svg nowhere/robot.svg", "No such file or directory"},
      {"validate none.so -o out.json", "cannot load module 'none.so': No such file or directory"},
      {"validate -o nowhere/out.json", "No such file or directory"},
      {"validate --only no-such-check", "no check up to level 4 matches 'no-such-check'"},
      {"validate --only '('", "--only '('"},
      {"validate --level 6", "--level"},
      {"", "subcommand is required"},
  };
  for (const auto& [arguments, words] : cases) {
    const Outcome outcome = host(arguments);
    EXPECT_EQ(outcome.status, 2) << arguments;
    EXPECT_EQ(outcome.out, "") << arguments;
    EXPECT_NE(outcome.err.find(words), std::string::npos) << outcome.err;
    EXPECT_EQ(outcome.err.find('\n'), outcome.err.size() - 1) << outcome.err;
    EXPECT_EQ(files(), before) << arguments;
  }
  EXPECT_EQ(read(directory_ / "old.csv"), "old results\n");
  EXPECT_EQ(read(directory_ / "good.csv"), "time\n0\n");
}

// Results that do not fit are not left half written.
TEST_F(Command, FailedWritingLeavesNothingBehind) {
  std::filesystem::copy(KORVEL_MOTIONS "/wave.csv", directory_.path());
  write(directory_ / "results.csv", "old results\n");
  const Outcome outcome = host("run wave.csv -o results.csv", "trap '' XFSZ && ulimit -f 64");
  EXPECT_EQ(outcome.status, 2);
  EXPECT_NE(outcome.err.find("results.csv: cannot write: File too large\n"), std::string::npos) << outcome.err;
  EXPECT_EQ(files(), (std::vector<std::string>{"results.csv", "wave.csv"}));
  EXPECT_EQ(read(directory_ / "results.csv"), "old results\n");
}

// Rates fit into single precision, what is computed from them does not: no results, and no summary.
TEST_F(Command, ResultsThatAreNotFiniteAreRefused) {
  write(directory_ / "good.csv", "time\n0\n1\n");
  write(directory_ / "fast.csv", "time,HeadYaw\n0,0\n1,1e25\n2,-1e25\n3,1e25\n");
  std::filesystem::create_directory(directory_ / "all");
  for (const char* arguments : {"run fast.csv -o results.csv", "run good.csv fast.csv -o all"}) {
    const Outcome outcome = host(arguments);
    EXPECT_EQ(outcome.status, 2) << arguments;
    EXPECT_EQ(outcome.out, "") << arguments;
    const char* words =
        "fast.csv:2: expected a motion with results within single precision, 'HeadPitch_torque' is not\n";
    EXPECT_NE(outcome.err.find(words), std::string::npos) << outcome.err;
    EXPECT_EQ(files(), (std::vector<std::string>{"all", "fast.csv", "good.csv"})) << arguments;
    EXPECT_TRUE(std::filesystem::is_empty(directory_ / "all"));
  }
}

// Side by side as one by one.
TEST_F(Command, MotionsSideBySideHaveTheirOwnResults) {
  constexpr const char* names[] = {"squat", "wave", "weight_shift"};
  std::filesystem::create_directory(directory_ / "all");
  std::string motions;
  for (const char* name : names) motions += fmt::format("'{}/{}.csv' ", KORVEL_MOTIONS, name);
  const Outcome outcome = host(fmt::format("run {} -o all --jobs 2", motions));
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(outcome.err, "");
  std::size_t place = 0;
  for (const char* name : names) {
    EXPECT_EQ(host(fmt::format("run '{}/{}.csv' -o alone.csv", KORVEL_MOTIONS, name)).status, 0);
    EXPECT_EQ(read(directory_ / fmt::format("all/{}-results.csv", name).c_str()), read(directory_ / "alone.csv"));
    const std::size_t found = outcome.out.find(fmt::format("/{}.csv\nheld by its root", name));
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
  const Outcome outcome = host(fmt::format("run {} -o all", motions), "ulimit -n 30");
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  for (int i = 0; i < 60; ++i) {
    EXPECT_TRUE(std::filesystem::exists(directory_ / fmt::format("all/{}-results.csv", i).c_str())) << i;
  }
}

// What stood under the name is replaced; a link to it stays.
TEST_F(Command, ResultsReplaceAnOlderFile) {
  write(directory_ / "motion.csv", "time\n0\n");
  write(directory_ / "old.csv", "old results\n");
  std::filesystem::create_symlink("old.csv", directory_ / "results.csv");
  EXPECT_EQ(results()["time"], std::vector<float>{0});
  EXPECT_TRUE(std::filesystem::is_symlink(directory_ / "results.csv"));
  EXPECT_EQ(files(), (std::vector<std::string>{"motion.csv", "old.csv", "results.csv"}));
}

// A motion of degree two in time, turned but not turning, has velocities and accelerations in closed form: the results
// are those of the interface given these.
TEST_F(Command, ResultsAreThoseOfTheInterface) {
  const System system = Module(KORVEL_MODULE).create();
  const std::vector<std::string> joints = joint_names(*system);
  const auto joint_count = static_cast<Eigen::Index>(joints.size());
  std::srand(5);
  const Eigen::ArrayXd a = Eigen::ArrayXd::Random(6 + joint_count);
  Eigen::ArrayXd b = Eigen::ArrayXd::Random(6 + joint_count);
  Eigen::ArrayXd c = Eigen::ArrayXd::Random(6 + joint_count);
  for (Eigen::ArrayXd* rates : {&b, &c}) rates->segment<3>(3).setZero();
  const Eigen::Quaterniond turned = Eigen::AngleAxisd(a[5], Eigen::Vector3d::UnitZ()) *
                                    Eigen::AngleAxisd(a[4], Eigen::Vector3d::UnitY()) *
                                    Eigen::AngleAxisd(a[3], Eigen::Vector3d::UnitX());
  const Moving<4> orientation{{turned.w(), turned.x(), turned.y(), turned.z()}, {0, 0, 0, 0}, {0, 0, 0, 0}};
  const double times[] = {0, 0.1, 0.25, 0.3, 0.5};
  const auto q = [&](double t) -> Eigen::ArrayXd { return a + b * t + c * (t * t); };

  std::string text = fmt::format("x,y,z,roll,pitch,yaw,{},time\n", fmt::join(joints, ","));
  for (const double t : times) text += fmt::format("{},{}\n", fmt::join(q(t), ","), t);
  write(directory_ / "motion.csv", text);
  auto columns = results();
  ASSERT_EQ(columns["time"].size(), std::size(times));

  for (std::size_t row = 0; row < std::size(times); ++row) {
    const double t = times[row];
    const Eigen::ArrayXd dq = b + 2 * c * t;
    const RootMotion root = root_motion({q(t).head<3>(), dq.head<3>(), 2 * c.head<3>()}, orientation);
    system->setRootPose(root.pose);
    system->setRootVelocity(root.velocity);
    system->setRootAcceleration(root.acceleration);
    system->setJointAnglesPos(q(t).tail(joint_count).cast<float>());
    system->setJointAnglesVel(dq.tail(joint_count).cast<float>());
    system->setJointAnglesAcc(2 * c.tail(joint_count).cast<float>());
    system->computeFwdKinematics();
    system->computeInverseDynamics();

    // Inputs and therefore results may differ by the last bit of a float, the torques being below 10 N m.
    constexpr float rounding = 1e-5F;
    for (unsigned long j = 0; j < system->getNbJointAngles(); ++j) {
      EXPECT_NEAR(columns.at(joints[j] + "_torque")[row], system->getJointAngleTorque(j), rounding) << joints[j];
    }
    const auto expect_point = [&](const std::string& name, const QZ::Math::Position3D& point) {
      EXPECT_NEAR(columns.at(name + "_x")[row], point.x, rounding) << name;
      EXPECT_NEAR(columns.at(name + "_y")[row], point.y, rounding) << name;
      EXPECT_NEAR(columns.at(name + "_z")[row], point.z, rounding) << name;
    };
    expect_point("com", system->getComPosition());
    expect_point("com_root", system->getComPositionInRoot());
    for (unsigned long body = 0; body < system->getNbBodies(); ++body) {
      const QZ::Math::Transform& pose = system->getPose(body);
      expect_point(system->getBodyName(body), {pose.tx, pose.ty, pose.tz});
      expect_point(system->getBodyName(body) + "_com", system->getComPosition(body));
    }
  }
  EXPECT_EQ(columns.size(), 1 + joints.size() + 6 + 6 * system->getNbBodies());
}

TEST_F(Command, InfoShowsEveryBodyAndTheTotalMass) {
  const Outcome outcome = host("info");
  EXPECT_EQ(outcome.status, 0);
  const System system = Module(KORVEL_MODULE).create();
  for (unsigned long b = 0; b < system->getNbBodies(); ++b) {
    const std::string row = fmt::format("\n{:>4}  {} ", b, system->getBodyName(b));
    EXPECT_NE(outcome.out.find(row), std::string::npos) << row;
  }
  EXPECT_NE(outcome.out.find(fmt::format("total mass {:.5f} kg", system->getMass())), std::string::npos);
}

// Programs read what the interface says, and the conventions are those that people read.
TEST_F(Command, InfoSpeaksJson) {
  const Outcome outcome = host("info --json");
  EXPECT_EQ(outcome.status, 0);
  const auto robot = nlohmann::json::parse(outcome.out);
  const System system = Module(KORVEL_MODULE).create();
  system->computeFwdKinematics();
  const auto parents = system->getParentsVector();
  ASSERT_EQ(robot["bodies"].size(), system->getNbBodies());
  EXPECT_EQ(robot["mass"].get<float>(), system->getMass());
  using Floats = std::vector<float>;
  for (unsigned long b = 0; b < system->getNbBodies(); ++b) {
    const auto& body = robot["bodies"][b];
    EXPECT_EQ(body["index"], b);
    EXPECT_EQ(body["name"], system->getBodyName(b));
    EXPECT_EQ(body["mass"].get<float>(), system->getMass(b));
    const QZ::Math::Transform& pose = system->getPose(b);
    EXPECT_EQ(body["origin_root"].get<Floats>(), (Floats{pose.tx, pose.ty, pose.tz})) << body;
    const auto com_body = body["com_body"].get<Floats>();
    const QZ::Math::Position3D com = pose * QZ::Math::Position3D(com_body[0], com_body[1], com_body[2]);
    EXPECT_NEAR(com.x, system->getComPosition(b).x, 1e-6F) << body;
    EXPECT_NEAR(com.y, system->getComPosition(b).y, 1e-6F) << body;
    EXPECT_NEAR(com.z, system->getComPosition(b).z, 1e-6F) << body;
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
    for (std::size_t i = 0; i < 3; ++i) {
      EXPECT_NEAR(body["axes_root"]["z"].at(i).get<float>(), axis(static_cast<Eigen::Index>(i)), 2e-6F) << body;
    }
    const QZ::Math::Position3D along_x = pose * QZ::Math::Position3D(1, 0, 0);
    const auto x = body["axes_root"]["x"].get<Floats>();
    EXPECT_NEAR(x[0], along_x.x - pose.tx, 2e-6F) << body;
    EXPECT_NEAR(x[1], along_x.y - pose.ty, 2e-6F) << body;
    EXPECT_NEAR(x[2], along_x.z - pose.tz, 2e-6F) << body;
  }
  const std::string table = host("info").out;
  for (const auto& [subject, text] : robot["conventions"].items()) {
    const std::string line = fmt::format("\n{:<12}  {}\n", subject, text.get<std::string>());
    EXPECT_NE(table.find(line), std::string::npos) << line;
  }
  EXPECT_NE(robot["conventions"]["com jacobian"].get<std::string>().find("the host divides"), std::string::npos);
}

}  // namespace
}  // namespace korvel::host
