#include "motion/motion.h"

#include <gtest/gtest.h>

#include <cmath>

#include "motion/csv/error.h"
#include "motion/doubts.h"
#include "motion/spline.h"
#include "motion/trajectory.h"
#include "tests/host/support/files.h"

namespace korvel::host {
namespace {

const std::vector<std::string> joints{"Neck", "Knee"};

/// The error's text after the directory, empty if the file is accepted.
std::string error_of(const std::string& text, double penalty = 0) {
  const TemporaryDirectory directory;
  try {
    Trajectory(read_motion(write(directory / "motion.csv", text), joints), penalty);
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
      {"0.0,1.0\n0.1,1.0\n", "motion.csv:1: expected a header row with the names of the columns, found '0.0'"},
      {"time;Knee\n0;1\n", "motion.csv:1: expected commas between the columns, found semicolons"},
      {"time\tKnee\n0\t1\n", "motion.csv:1: expected commas between the columns, found tabs"},
      {"time [s],Knee\n0,1\n", "motion.csv:1: expected 'time' without its unit, found 'time [s]'"},
      {"TIME,Knee\n0,1\n",
       "motion.csv:1: expected a column time, x, y, z, roll, pitch, yaw, qw, qx, qy, qz or the name of a "
       "joint, found 'TIME' (did you mean time?)"},
      {"time,Kne\n0,1\n",
       "motion.csv:1: expected a column time, x, y, z, roll, pitch, yaw, qw, qx, qy, qz or the name of a "
       "joint, found 'Kne' (did you mean Knee?)"},
      {"time,x,Knee,x\n0,0,0,0\n", "motion.csv:1: expected each column once, found a second 'x'"},
      {"x,y\n0,0\n", "motion.csv:1: expected a column 'time', found none"},
      {"time,x\n", "motion.csv:2: expected a sample, found the end of the file"},
      {"time,Knee\n0,1\n1,1.5x\n", "motion.csv:3: expected a number in column 'Knee', found '1.5x'"},
      {"time,Knee\n0,1\n1,\n", "motion.csv:3: expected a number in column 'Knee', found an empty field"},
      {"time,Knee\n0,nan\n", "motion.csv:2: expected a finite single-precision number in column 'Knee', found 'nan'"},
      {"time,Knee\n0,1e39\n", "motion.csv:2: expected a finite single-precision number in column 'Knee', found '1e39'"},
      {"time,Knee\n0,1e999\n",
       "motion.csv:2: expected a finite single-precision number in column 'Knee', found '1e999'"},
      {"time,Knee\n0,1\n1,1,1\n", "motion.csv:3: expected 2 columns, found 3"},
      {"time\n0\n0.5\n0.5\n", "motion.csv:4: expected times that increase, found 0.5 after 0.5"},
      {"time,Knee\n0,\"1\n", "motion.csv:2: expected comma-separated fields, found a misplaced or unfinished quote"},
      {"time,Knee\n0,1\"2\n", "motion.csv:2: expected comma-separated fields, found a misplaced or unfinished quote"},
      {"time,Knee\n0,1\r1,2\n", "motion.csv:2: expected lines to end in LF or CR LF, found a lone CR"},
      // Lines are those of the file, also after blank lines and after fields of several lines; the text is one line.
      {"\r\n\r\ntime,Knee\r\n\r\n0,1\r\n\r\n1,abc\r\n",
       "motion.csv:7: expected a number in column 'Knee', found 'abc'"},
      {"time,Knee\n\"0\n\n\",1\n1,1\n", "motion.csv:2: expected a number in column 'time', found '0\\x0a\\x0a'"},
      {"\"time\",x,\"\n\n\"\n",
       "motion.csv:1: expected a column time, x, y, z, roll, pitch, yaw, qw, qx, qy, qz or the name of a joint, "
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
       "motion.csv:3: expected times that increase, found 1760000000.00000000000010 after "
       "1760000000.0000000000001"},
  };
  for (const auto& [text, error] : cases) EXPECT_EQ(error_of(text), error) << text;
}

// The equations of a smoothing spline through such samples are singular or indefinite in double precision.
TEST(MotionFile, StepsThatDifferTooMuchAreNotSmoothed) {
  for (const char* text : {"time\n0\n1e-8\n1.0000000001e-8\n2e-8\n",
                           "time\n0\n1e-4\n1.000000001e-4\n1.00000001e-4\n1.1e-3\n1.100001e-3\n"}) {
    EXPECT_EQ(error_of(text), "") << text;
    EXPECT_EQ(error_of(text, penalty_of_cutoff(1)),
              "motion.csv:4: expected time steps that a smoothing spline can be computed from, found a step to this "
              "sample that is much shorter than others")
        << text;
  }
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

// Columns that look like degrees or milliseconds, jump, or are missing are named; motions of a humanoid cause no
// warning.
TEST(MotionFile, MistakesAreSuspected) {
  const TemporaryDirectory directory;
  const std::vector<std::string> leg{"Torso2", "LHip", "LKnee", "LAnkle", "RHip", "RKnee", "RAnkle"};
  const auto doubts = [&](const std::string& text) {
    return doubts_about(read_motion(write(directory / "motion.csv", text), leg), leg, {0, 1, 1, 1, 4, 4, 4});
  };
  using Doubts = std::vector<std::string>;
  for (const char* degrees : {"time,Torso2\n0,0\n0.01,90\n", "time,Torso2\n0,90\n1,90\n2,90\n"}) {
    EXPECT_EQ(doubts(degrees), Doubts{"column 'Torso2' reaches 90: angles are in radians, are these degrees?"});
  }
  EXPECT_EQ(doubts("time,Torso2\n0,0\n10,1\n"),
            Doubts{"samples are 10 s apart: time is in seconds, are these milliseconds?"});
  EXPECT_EQ(doubts("time,Torso2\n0,0.1\n0.01,0.11\n0.02,0.52\n0.03,0.53\n"),
            Doubts{"Torso2 jumps by 0.40 rad at 0.020 s (40 rad/s)"});
  EXPECT_EQ(doubts("time,Torso2\n0,0\n0.01,0.2\n0.02,0.45\n0.03,0.7\n"),
            Doubts{"Torso2 turns at 25 rad/s at 0.020 s, faster than motors of such a robot"});
  EXPECT_EQ(doubts("time,LHip,LAnkle\n0,0,0\n"),
            Doubts{"no column for LKnee, taken as 0; other joints of the same limb have one"});
  EXPECT_EQ(doubts("time,LHip,LKnee,LAnkle,RHip,RKnee\n0,0,0,0,0,0\n"),
            Doubts{"no column for RAnkle, taken as 0; other joints of the same limb have one"});
  for (const char* ordinary : {"time,Torso2\n0,0\n9,6\n", "time,Torso2\n0,0\n", "time,LHip,LKnee,RHip\n0,0,0,0\n",
                               "time,Torso2\n0,0\n0.1,0\n0.2,0.1\n0.3,0.3\n0.4,0.4\n0.5,0.4\n"}) {
    EXPECT_EQ(doubts(ordinary), Doubts{}) << ordinary;
  }
}

// Against errors that are drawn, of rounding and of measuring, on a motion of a hertz.
TEST(MotionFile, NoiseIsWhatDrawnErrorsDo) {
  constexpr Eigen::Index n = 2001;
  Motion motion;
  motion.elapsed = Eigen::ArrayXd::LinSpaced(n, 0, 20);
  motion.joints = 0.5 * (6.28 * motion.elapsed).sin();
  motion.position = Eigen::ArrayX3d::Zero(n, 3);
  motion.orientation = Eigen::ArrayX4d::Zero(n, 4);
  const std::vector<std::string> names{"Knee"};
  const auto expect_effect = [&](const Noise& noise, const Eigen::ArrayXd& errors) {
    const auto inside = [](const Eigen::ArrayXd& values) { return values.segment(20, n - 40); };
    const Eigen::ArrayXd as_they_are = inside(Spline(motion.elapsed).through(errors).second);
    EXPECT_NEAR(std::sqrt(as_they_are.square().mean()), noise.rms, 0.1 * noise.rms);
    const Eigen::ArrayXd smoothed =
        inside(Spline(motion.elapsed, penalty_of_cutoff(noise.cutoff)).through(errors).second);
    EXPECT_NEAR(std::sqrt(smoothed.square().mean()), noise.rms_at_cutoff, 0.3 * noise.rms_at_cutoff);
  };
  motion.decimals = 6;
  EXPECT_FALSE(noise_of(motion, names));
  const Eigen::ArrayXd errors = 0.5e-3 * Eigen::ArrayXd::Random(n);
  motion.joints += errors;
  const std::optional<Noise> measured = noise_of(motion, names);
  ASSERT_TRUE(measured);
  EXPECT_EQ(measured->source.substr(0, 17), "noise of about 0.");
  EXPECT_NE(measured->source.find(" rad in Knee"), std::string::npos) << measured->source;
  expect_effect(*measured, errors);
  motion.decimals = 3;
  const std::optional<Noise> rounded = noise_of(motion, names);
  ASSERT_TRUE(rounded);
  EXPECT_EQ(rounded->source, "rounding to 3 decimals");
  expect_effect(*rounded, errors);
}

}  // namespace
}  // namespace korvel::host
