#include "host/motion/motion.h"

#include <gtest/gtest.h>

#include <cmath>

#include "host/io/error.h"
#include "host/motion/spline.h"
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
       "motion.csv:1: expected a column named time, x, y, z, roll, pitch, yaw, qw, qx, qy, qz or as a joint, found "
       "'0.0'"},
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
      {"time,Knee\n\"0\n\n\",1\n1,1\n", "motion.csv:2: expected a number in column 'time', found '0\\x0a\\x0a'"},
      {"\"time\",x,\"\n\n\"\n",
       "motion.csv:1: expected a column named time, x, y, z, roll, pitch, yaw, qw, qx, qy, qz or as a joint, "
       "found '\\x0a\\x0a'"},
      // The orientation stands there once and whole, and is one.
      {"time,qw,qx,qy\n0,1,0,0\n", "motion.csv:1: expected all of qw, qx, qy and qz or none, found no column 'qz'"},
      {"time,qw,qx,qy,qz,yaw\n0,1,0,0,0,0\n",
       "motion.csv:1: expected the orientation as angles or as a quaternion, found 'yaw' beside 'qw'"},
      {"time,qw,qx,qy,qz\n0,1,0,0,0\n1,0.7,0.7,0.7,0\n",
       "motion.csv:3: expected a quaternion of length 1 in qw, qx, qy, qz, found one of 1.21244"},
      // Times that differ, velocities that do not fit.
      {"time,Knee\n0,0\n1e-39,1\n",
       "motion.csv:2: expected a velocity and an acceleration within single precision, found too large a change in too "
       "short a time"},
      // Times are compared as they are written, however many digits they have.
      {"time\n1760000000.0000000000001\n1760000000.0000000000002\n", ""},
      {"time\n1760000000.0000000000001\n1760000000.00000000000010\n",
       "motion.csv:3: expected a time after 1760000000.0000000000001, found 1760000000.00000000000010"},
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
  EXPECT_TRUE((motion.position == Eigen::Array<double, 2, 3>{{0, 0.45, 0}, {0, 8, 0}}).all()) << motion.position;
  EXPECT_TRUE((motion.joints == Eigen::Array22d{{0, 1}, {0, 5}}).all()) << motion.joints;
  EXPECT_TRUE((motion.time == Eigen::Array2d(-3, 7)).all()) << motion.time;
  // Turned by 2 and by 6 about z; of the two quaternions of the latter the one that is nearer to the former.
  EXPECT_LT((motion.orientation.row(0) - Eigen::Array4d(std::cos(1), 0, 0, std::sin(1)).transpose()).abs().maxCoeff(),
            1e-15);
  EXPECT_LT((motion.orientation.row(1) + Eigen::Array4d(std::cos(3), 0, 0, std::sin(3)).transpose()).abs().maxCoeff(),
            1e-15);
}

// What looks like degrees or milliseconds is told with the column; what a humanoid does is not.
TEST(MotionFile, OtherUnitsAreSuspected) {
  const TemporaryDirectory directory;
  const auto doubts = [&](const std::string& text) {
    return doubts_about(read_motion(write(directory / "motion.csv", text), joints), joints);
  };
  EXPECT_EQ(doubts("time,Knee\n0,0\n0.01,90\n"),
            std::vector<std::string>{"column 'Knee' changes by 90: angles are in radians, are these degrees?"});
  EXPECT_EQ(doubts("time,Knee\n0,0\n10,1\n"),
            std::vector<std::string>{"samples are 10 s apart: time is in seconds, are these milliseconds?"});
  EXPECT_TRUE(doubts("time,Knee\n0,0\n9,12\n").empty());
  EXPECT_TRUE(doubts("time,Knee\n0,0\n").empty());
}

// Against noise that is drawn: uniform errors of half a unit, on samples as far apart.
TEST(MotionFile, RoundingNoiseIsWhatDrawnErrorsDo) {
  Motion motion;
  motion.elapsed = Eigen::ArrayXd::LinSpaced(2001, 0, 20);
  motion.decimals = 3;
  const std::optional<RoundingNoise> noise = rounding_noise(motion);
  ASSERT_TRUE(noise);
  const Eigen::ArrayXd errors = 0.5e-3 * Eigen::ArrayXd::Random(2001);
  const auto inside = [](const Eigen::ArrayXd& values) { return values.segment(20, 1961); };
  const Eigen::ArrayXd as_they_are = inside(Spline(motion.elapsed).through(errors).second);
  EXPECT_NEAR(std::sqrt(as_they_are.square().mean()), noise->rms, 0.1 * noise->rms);
  EXPECT_LT(as_they_are.abs().maxCoeff(), noise->largest);
  const Eigen::ArrayXd smoothed =
      inside(Spline(motion.elapsed, penalty_of_cutoff(noise->cutoff)).through(errors).second);
  EXPECT_NEAR(std::sqrt(smoothed.square().mean()), noise->rms_at_cutoff, 0.2 * noise->rms_at_cutoff);
  motion.decimals = 6;
  EXPECT_FALSE(rounding_noise(motion));
}

}  // namespace
}  // namespace korvel::host
