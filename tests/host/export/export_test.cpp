#include <array>
#include <map>
#include <memory>
#include <pugixml.hpp>
#include <sstream>

#include "host/export/model.h"
#include "support/expect.h"
#include "tests/host/export/model_file.h"
#include "tests/host/support/command.h"

namespace korvel::host {
namespace {

using tests::eigen;
using tests::near;

// The robot's tree rotations and the module's poses are orthonormal to this; lengths are below one metre.
constexpr double rounding = 2e-6;

class Export : public CommandTest {
 protected:
  /// The robot as both files have it.
  std::array<FileBodies, 2> exported() const {
    const Outcome outcome = succeeded("export --urdf robot.urdf --mjcf robot.xml");
    EXPECT_EQ(outcome.err, "");
    return {read_urdf(read(directory_ / "robot.urdf")), read_mjcf(read(directory_ / "robot.xml"))};
  }

  static bool is_installed(const std::string& program) {
    return std::system(("command -v " + program + " >/dev/null").c_str()) == 0;
  }
};

FreshSystem fresh_module() {
  return [] { return Module(KORVEL_MODULE).create(); };
}

// The corners of the file of soles are corners of what stands for a sole; only that and the ground can touch.
TEST_F(Export, SolesOfTheModelForMuJoCoStandOnThePlane) {
  const std::string soles = fmt::format("'{}/soles.csv'", KORVEL_MOTIONS);
  succeeded("export --mjcf robot.xml");
  succeeded("export --mjcf standing.xml --soles " + soles);
  pugi::xml_document document;
  ASSERT_TRUE(document.load_file((directory_ / "standing.xml").c_str()));
  int touching = 0;
  for (const pugi::xpath_node& node : document.select_nodes("//worldbody//geom[@contype or @conaffinity]")) {
    const pugi::xml_node geom = node.node();
    if (geom.attribute("type").as_string() == std::string("plane")) {
      EXPECT_EQ(geom.parent().name(), std::string("worldbody"));
      continue;
    }
    ++touching;
    const auto numbers = [&](const char* name) {
      std::istringstream text(geom.attribute(name).as_string());
      return std::vector<double>(std::istream_iterator<double>(text), {});
    };
    ASSERT_EQ(geom.attribute("type").as_string(), std::string("box"));
    EXPECT_EQ(numbers("friction").at(0), 0.6);
    const std::vector<double> q = numbers("quat");
    const Eigen::Quaterniond turn(q.at(0), q.at(1), q.at(2), q.at(3));
    const Eigen::Vector3d half = Eigen::Map<const Eigen::Vector3d>(numbers("size").data());
    const Eigen::Vector3d centre = Eigen::Map<const Eigen::Vector3d>(numbers("pos").data());
    // The x axis of both feet points upwards, so that the lowest corners are at -0.045.
    for (const double y : {-0.04, 0.04}) {
      for (const double z : {-0.05, 0.1}) {
        const Eigen::Vector3d inside = turn.inverse() * (Eigen::Vector3d(-0.045, y, z) - centre);
        EXPECT_TRUE(near(inside.cwiseAbs(), half, 1e-6));
      }
    }
    EXPECT_GT(centre.x(), -0.045);
  }
  EXPECT_EQ(touching, 2);

  // All else is as it is without soles.
  for (const char* added : {"//worldbody//geom[@contype or @conaffinity]", "/mujoco/asset"}) {
    for (const pugi::xpath_node& node : document.select_nodes(added)) node.parent().remove_child(node.node());
  }
  pugi::xml_document plain;
  ASSERT_TRUE(plain.load_file((directory_ / "robot.xml").c_str()));
  std::ostringstream with, without;
  document.save(with);
  plain.save(without);
  EXPECT_EQ(with.str(), without.str());

  write(directory_ / "hull.csv", "body,x,y,z,friction\nLAnkleRoll,0,0,0,1\nLAnkleRoll,0,1,0,1\nLAnkleRoll,0,0,1,1\n");
  succeeded("export --mjcf hull.xml --soles hull.csv");
  ASSERT_TRUE(document.load_file((directory_ / "hull.xml").c_str()));
  EXPECT_EQ(document.select_nodes("//mesh").size(), 1U);
  // Soles are for this model alone, and no output replaces them.
  EXPECT_EQ(host("export --urdf robot.urdf --soles " + soles).status, 2);
  EXPECT_EQ(host("export --mjcf hull.csv --soles hull.csv").status, 2);
}

// A joint has the numbers of its row in both files, and what the row leaves out is no limit. All else is as it is
// without limits.
TEST_F(Export, LimitsAreStopsAndMotors) {
  exported();
  write(directory_ / "limits.csv",
        "# Numbers of a test.\njoint,torque,lower,upper,speed\nLElbowRoll,0.7,-1.25,0.5,3\nHeadYaw,,-0.3,,\n"
        "RKneePitch,,,,2.5\n");
  succeeded("export --urdf limited.urdf --mjcf limited.xml --limits limits.csv");
  const auto loaded = [&](const char* file) {
    auto document = std::make_unique<pugi::xml_document>();
    EXPECT_TRUE(document->load_file((directory_ / file).c_str()));
    return document;
  };
  const auto urdf = loaded("limited.urdf");
  const auto mjcf = loaded("limited.xml");
  const auto texts = [](const pugi::xml_node& node, std::initializer_list<const char*> names) {
    std::vector<std::string> all;
    for (const char* name : names) all.emplace_back(node.attribute(name).as_string("-"));
    return all;
  };
  using Texts = std::vector<std::string>;
  std::map<std::string, Texts> stops, ranges, motors;
  for (const pugi::xpath_node& found : urdf->select_nodes("//joint[limit]")) {
    const pugi::xml_node node = found.node();
    Texts& all = stops[node.attribute("name").value()] =
        texts(node.child("limit"), {"lower", "upper", "velocity", "effort"});
    all.emplace_back(node.attribute("type").value());
  }
  for (const pugi::xpath_node& found : mjcf->select_nodes("//joint[@limited]")) {
    ranges[found.node().attribute("name").value()] = texts(found.node(), {"limited", "range"});
  }
  for (const pugi::xml_node& node : mjcf->child("mujoco").child("actuator")) {
    motors[node.attribute("joint").value()] = texts(node, {"ctrllimited", "ctrlrange", "forcelimited", "forcerange"});
  }
  EXPECT_EQ(stops, (std::map<std::string, Texts>{{"LElbowRoll", {"-1.25", "0.5", "3", "0.7", "revolute"}},
                                                 {"HeadYaw", {"-0.3", "1000000", "1000000", "1000000", "revolute"}},
                                                 {"RKneePitch", {"-", "-", "2.5", "1000000", "continuous"}}}));
  EXPECT_EQ(ranges, (std::map<std::string, Texts>{{"LElbowRoll", {"true", "-1.25 0.5"}},
                                                  {"HeadYaw", {"true", "-0.3 1000000"}}}));
  ASSERT_EQ(motors.size(), 24U);
  EXPECT_EQ(motors.at("LElbowRoll"), (Texts{"true", "-0.7 0.7", "true", "-0.7 0.7"}));
  EXPECT_EQ(motors.at("HeadYaw"), Texts(4, "-"));

  for (const pugi::xpath_node& found : urdf->select_nodes("//joint[limit]")) {
    found.node().remove_child("limit");
    found.node().attribute("type").set_value("continuous");
  }
  for (const pugi::xpath_node& found : mjcf->select_nodes("//joint[@limited]")) {
    found.node().remove_attribute("limited");
    found.node().remove_attribute("range");
  }
  mjcf->child("mujoco").remove_child("actuator");
  const auto text_of = [](const pugi::xml_document& document) {
    std::ostringstream text;
    document.save(text);
    return text.str();
  };
  EXPECT_EQ(text_of(*urdf), text_of(*loaded("robot.urdf")));
  EXPECT_EQ(text_of(*mjcf), text_of(*loaded("robot.xml")));
}

// Forward kinematics of the files, with maths of this test, at zero and elsewhere.
TEST_F(Export, FilesPlaceBodiesAndMassesWhereTheModuleDoes) {
  const System system = Module(KORVEL_MODULE).create();
  const auto joint_count = static_cast<Eigen::Index>(system->getNbJointAngles());
  const auto parents = system->getParentsVector();
  for (const FileBodies& bodies : exported()) {
    ASSERT_EQ(bodies.size(), system->getNbBodies());
    std::srand(7);
    for (int state = 0; state < 20; ++state) {
      const Eigen::ArrayXf angles = (state == 0 ? 0.F : 3.F) * Eigen::ArrayXf::Random(joint_count);
      system->setJointAnglesPos(angles);
      system->computeFwdKinematics();
      std::vector<Eigen::Isometry3d> poses;
      Eigen::Vector3d moment = Eigen::Vector3d::Zero();
      double mass = 0;
      for (unsigned long b = 0; b < system->getNbBodies(); ++b) {
        const std::string& name = system->getBodyName(b);
        const FileBody& body = bodies.at(name);
        if (b == 0) {
          EXPECT_EQ(body.parent, "world");
          EXPECT_EQ(body.joint, system->getRootName());
          EXPECT_EQ(body.joint_type, "floating");
          poses.push_back(body.placement);
        } else {
          EXPECT_EQ(body.parent, system->getBodyName(static_cast<unsigned long>(parents[b])));
          EXPECT_EQ(body.joint, system->getJointAngleName(b - 1));
          EXPECT_EQ(body.joint_type, "continuous");
          const double angle = static_cast<double>(angles[static_cast<Eigen::Index>(b - 1)]);
          poses.push_back(poses[static_cast<std::size_t>(parents[b])] * body.placement *
                          Eigen::AngleAxisd(angle, body.axis));
        }
        EXPECT_TRUE(near(eigen(system->getPose(b)).matrix(), poses[b].matrix(), rounding)) << name;
        EXPECT_TRUE(near(eigen(system->getComPosition(b)), poses[b] * body.com, rounding)) << name;
        EXPECT_FLOAT_EQ(static_cast<float>(body.mass), system->getMass(b)) << name;
        moment += body.mass * (poses[b] * body.com);
        mass += body.mass;
      }
      EXPECT_FLOAT_EQ(static_cast<float>(mass), system->getMass());
      EXPECT_TRUE(near(eigen(system->getComPosition()), moment / mass, rounding));
    }
  }
}

// The bodies are points: nothing is written but what importers insist on, and the file says so.
TEST_F(Export, InertiasAreTheLeastThatEnginesTake) {
  for (const FileBodies& bodies : exported()) {
    for (const auto& [name, body] : bodies) {
      EXPECT_EQ(body.inertia, Eigen::Matrix3d(least_inertia * Eigen::Matrix3d::Identity())) << name;
    }
  }
  for (const char* file : {"robot.urdf", "robot.xml"}) {
    const std::string text = read(directory_ / file);
    expect_has(text, "25 of 25 bodies have none, to within rounding");
  }
}

// Inertias that were set are found in the mass matrix, if they are more than rounding.
TEST_F(Export, InertiasThatAModuleHasAreRecovered) {
  Eigen::Matrix3f told;
  told << 4e-3F, 3e-4F, -2e-4F, 3e-4F, 5e-3F, 1e-4F, -2e-4F, 1e-4F, 6e-3F;
  constexpr unsigned long elbow = 5;
  constexpr unsigned long foot = 13;
  const Robot robot = read_robot(*fresh_module()());
  const FreshSystem heavy = [&] {
    System system = Module(KORVEL_MODULE).create();
    for (const unsigned long b : {elbow, foot}) {
      const Eigen::Vector3f com = robot.bodies[b].com_body.cast<float>();
      system->setBodyInertia(b, system->getMass(b), {com.x(), com.y(), com.z()}, told);
    }
    return system;
  };
  const Inertias inertias = recover_inertias(heavy, robot);
  EXPECT_EQ(inertias.points(), robot.bodies.size() - 2);
  for (const FileBodies& bodies : {read_urdf(to_urdf(robot, inertias)), read_mjcf(to_mjcf(robot, inertias))}) {
    for (const unsigned long b : {elbow, foot}) {
      const FileBody& body = bodies.at(robot.bodies[b].name);
      // Rounding of single precision and of six-digit rotations in what the root moves.
      const double largest = 4e-6 * (robot.bodies[b].mass * 0.2 + 6e-3);
      EXPECT_TRUE(near(body.inertia, told.cast<double>(), largest)) << robot.bodies[b].name;
    }
  }
}

// No principal inertia exceeds the sum of the other two, but rounding can make that of a flat plate do so. The file
// then has a nearby one that engines accept.
TEST_F(Export, RecoveredInertiasAreThoseOfBodies) {
  const Robot robot = read_robot(*fresh_module()());
  constexpr unsigned long foot = 13;
  const FreshSystem impossible = [&] {
    System system = Module(KORVEL_MODULE).create();
    const Eigen::Vector3f com = robot.bodies[foot].com_body.cast<float>();
    system->setBodyInertia(foot, system->getMass(foot), {com.x(), com.y(), com.z()},
                           Eigen::Vector3f(1e-3F, 2e-3F, 3.1e-3F).asDiagonal());
    return system;
  };
  const Eigen::Vector3d I = recover_inertias(impossible, robot).of_body[foot].diagonal();
  EXPECT_GT(I.x() + I.y(), I.z());
  EXPECT_NEAR(I.z(), 3.1e-3, 2e-4);
}

// A file that was there is replaced whole, and one that cannot be written keeps the others from being so.
TEST_F(Export, FilesAreReplacedTogetherOrNotAtAll) {
  const std::string old(1000000, 'x');
  write(directory_ / "robot.urdf", old);
  EXPECT_EQ(host("export --urdf robot.urdf --mjcf nowhere/robot.xml").status, 2);
  EXPECT_EQ(read(directory_ / "robot.urdf"), old);
  exported();
  EXPECT_EQ(read(directory_ / "robot.urdf").find("xxx"), std::string::npos);
}

TEST_F(Export, OtherProgramsAcceptTheUrdf) {
  if (!is_installed("check_urdf")) GTEST_SKIP() << "needs check_urdf";
  exported();
  succeeded(fmt::format("export --urdf limited.urdf --limits '{}/../limits.csv'", KORVEL_MOTIONS));
  for (const char* file : {"robot.urdf", "limited.urdf"}) {
    EXPECT_EQ(shell(fmt::format("check_urdf {}", file)).status, 0) << file;
  }
}

TEST_F(Export, OtherProgramsAcceptTheTree) {
  if (!is_installed("dot")) GTEST_SKIP() << "needs dot";
  write(directory_ / "tree.dot", host("info --dot").out);
  const std::string command =
      "dot -Tplain '" + (directory_ / "tree.dot").string() + "' -o '" + (directory_ / "tree.txt").string() + "'";
  ASSERT_EQ(std::system(command.c_str()), 0);
  std::istringstream plain(read(directory_ / "tree.txt"));
  std::map<std::string, int> lines;
  for (std::string line; std::getline(plain, line);) ++lines[line.substr(0, 5)];
  EXPECT_EQ(lines["node "], 25);
  EXPECT_EQ(lines["edge "], 24);
}

}  // namespace
}  // namespace korvel::host
