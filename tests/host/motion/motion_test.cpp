#include "host/motion/motion.h"

#include <gtest/gtest.h>

#include <cmath>

#include "host/io/error.h"
#include "host/motion/trajectory.h"
#include "tests/host/support/files.h"

namespace korvel::host {
namespace {

const std::vector<std::string> joints{"Neck", "Knee"};

/// The error's text after the directory, empty if the file is accepted.
std::string error_of(const std::string& text) {
  const TemporaryDirectory directory;
  try {
    Trajectory{read_motion(write(directory / "motion.csv", text), joints)};
  } catch (const Error& error) {
    const std::string message = error.what();
    const std::size_t name = message.find("motion.csv");
    return name == std::string::npos ? message : message.substr(name);
  }
  return {};
}

// The first thing that is wrong is told with its line and what was expected there.
TEST(MotionFile, ErrorsNameLineAndExpectation) {
  const std::pair<const char*, const char*> cases[] = {
      {"\n \n", "motion.csv:1: expected a header row, found an empty file"},
      {"0.0,1.0\n0.1,1.0\n",
       "motion.csv:1: expected a column named time, x, y, z, roll, pitch, yaw or as a joint, found '0.0'"},
      {"time,x,Knee,x\n0,0,0,0\n", "motion.csv:1: expected each column once, found a second 'x'"},
      {"x,y\n0,0\n", "motion.csv:1: expected a column 'time', found none"},
      {"time,x\n", "motion.csv:2: expected a sample, found the end of the file"},
      {"time,Knee\n0,1\n1,1.5x\n", "motion.csv:3: expected a number in column 'Knee', found '1.5x'"},
      {"time,Knee\n0,1\n1,\n", "motion.csv:3: expected a number in column 'Knee', found ''"},
      {"time,Knee\n0,nan\n", "motion.csv:2: expected a finite single-precision number in column 'Knee', found 'nan'"},
      {"time,Knee\n0,1e39\n", "motion.csv:2: expected a finite single-precision number in column 'Knee', found '1e39'"},
      {"time,Knee\n0,1e999\n",
       "motion.csv:2: expected a finite single-precision number in column 'Knee', found '1e999'"},
      {"time,Knee\n0,1\n1,1,1\n", "motion.csv:3: expected 2 columns, found 3"},
      {"time\n0\n0.5\n0.5\n", "motion.csv:4: expected a time after 0.5, found 0.5"},
      {"time,Knee\n0,\"1\n", "motion.csv:2: expected comma-separated fields, found a misplaced or unfinished quote"},
      {"time,Knee\n0,1\"2\n", "motion.csv:2: expected comma-separated fields, found a misplaced or unfinished quote"},
      {"time,Knee\n0,1\r1,2\n", "motion.csv:2: expected lines to end in LF or CR LF, found a lone CR"},
      // Lines are those of the file, also after blank lines and after fields of several lines; the text is one line.
      {"\r\n\r\ntime,Knee\r\n\r\n0,1\r\n\r\n1,abc\r\n",
       "motion.csv:7: expected a number in column 'Knee', found 'abc'"},
      {"time,Knee\n\"0\n\n\",1\n1,1\n", "motion.csv:2: expected a number in column 'time', found '0  '"},
      {"\"time\",x,\"\n\n\"\n",
       "motion.csv:1: expected a column named time, x, y, z, roll, pitch, yaw or as a joint, "
       "found '  '"},
      // Times that differ, velocities that do not fit.
      {"time,Knee\n0,0\n1e-39,1\n",
       "motion.csv:2: expected a velocity and an acceleration within single precision, found too large a change in too "
       "short a time"},
      {"time\n0\n1e-20\n1\n", "motion.csv:3: expected a later time: too close to the one before"},
  };
  for (const auto& [text, error] : cases) EXPECT_EQ(error_of(text), error) << text;
}

TEST(MotionFile, ColumnsComeInAnyOrderAndMissingOnesAreZero) {
  const TemporaryDirectory directory;
  const auto path = write(directory / "motion.csv",
                          "\xEF\xBB\xBF\"Knee\", yaw ,time,y\r\n"
                          "1,+2,-3,4.5e-1\r\n"
                          "\r\n"
                          "5,6,\"7\",8");
  const Motion motion = read_motion(path, joints);
  Eigen::ArrayXXd expected(2, 8);
  expected << 0, 0.45, 0, 0, 0, 2, 0, 1,  //
      0, 8, 0, 0, 0, 6, 0, 5;
  EXPECT_TRUE((motion.coordinates == expected).all()) << motion.coordinates;
  EXPECT_TRUE((motion.time == Eigen::Array2d(-3, 7)).all()) << motion.time;
}

// An angle of the root that wraps is a steady rotation, one of a joint is what it says.
TEST(Trajectory, RootAnglesAreUnwrapped) {
  constexpr double turn = 6.283185307179586;
  constexpr double rate = 3;
  Motion motion{Eigen::ArrayXd::LinSpaced(50, 0, 4.9), Eigen::ArrayXXd::Zero(50, 8), {}, {}};
  for (Eigen::Index i = 0; i < 50; ++i) motion.coordinates(i, 5) = std::remainder(-rate * motion.time[i], turn);
  motion.coordinates.col(7) = -rate * motion.time;
  const Trajectory trajectory(motion);
  for (Eigen::Index i = 0; i < 50; ++i) {
    EXPECT_FLOAT_EQ(trajectory.at(i).root.velocity.wz, -3);
    EXPECT_FLOAT_EQ(trajectory.at(i).joint_vel[1], -3);
    EXPECT_NEAR(trajectory.at(i).root.acceleration.wz, 0, 1e-9);
  }
}

}  // namespace
}  // namespace korvel::host
