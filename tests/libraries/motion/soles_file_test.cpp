#include <gtest/gtest.h>

#include "motion/csv/error.h"
#include "motion/motion.h"
#include "tests/host/support/files.h"

namespace korvel::host {
namespace {

const std::vector<std::string> bodies{"Torso", "LFoot", "RFoot"};

std::string error_of_soles(const std::string& text) {
  const TemporaryDirectory directory;
  try {
    read_soles(write(directory / "soles.csv", text), bodies);
  } catch (const Error& error) {
    const std::string message = error.what();
    const std::size_t name = message.find("soles.csv");
    return name == std::string::npos ? message : message.substr(name);
  }
  return {};
}

TEST(SolesFile, CornersOfABodyAreOneSole) {
  const TemporaryDirectory directory;
  const auto soles = read_soles(write(directory / "soles.csv",
                                      "friction,z,y,x,body\n0.5,0,0,1,RFoot\n+0.7,0,0,0,LFoot\n0.5,0,1,0,RFoot\n"
                                      "0.7,0,1,0,LFoot\n0.5,0,0,0,RFoot\n7e-1,0,0,1,LFoot\n"),
                                bodies);
  ASSERT_EQ(soles.size(), 2U);
  EXPECT_EQ(soles[0].body(), 1U);
  EXPECT_EQ(soles[0].friction(), 0.7);
  EXPECT_EQ(soles[1].body(), 2U);
  EXPECT_TRUE(soles[1].centre_body().isApprox(Eigen::Vector3d(1, 1, 0) / 3));
}

TEST(SolesFile, ErrorsNameLineAndExpectation) {
  const std::string head = "body,x,y,z,friction\n";
  const std::string sole = "LFoot,0,0,0,0.5\nLFoot,1,0,0,0.5\nLFoot,0,1,0,0.5\n";
  const std::pair<std::string, const char*> cases[] = {
      {"", "soles.csv:1: expected a header row, found an empty file"},
      {head, "soles.csv:2: expected a corner of a sole, found the end of the file"},
      {sole, "soles.csv:1: expected each column once, found a second '0'"},
      {"body,x,y,z\n", "soles.csv:1: expected the columns body, x, y, z, friction, found no 'friction'"},
      {"body,x,y,z,friction,mu\n", "soles.csv:1: expected the columns body, x, y, z, friction, found 'mu'"},
      {"body,x,y,z,friction,x\n", "soles.csv:1: expected each column once, found a second 'x'"},
      {head + "LFoot,0,0,0\n", "soles.csv:2: expected 5 columns, found 4"},
      {head + "Foot,0,0,0,0.5\n", "soles.csv:2: expected the name of a body, found 'Foot' (did you mean LFoot?)"},
      {head + "LFoot,nan,0,0,0.5\n",
       "soles.csv:2: expected a finite single-precision number in column 'x', found 'nan'"},
      {head + "LFoot,,0,0,0.5\n", "soles.csv:2: expected a number in column 'x', found an empty field"},
      {head + "LFoot,0,0,0,-0.1\n", "soles.csv:2: expected a friction of at least 0, found -0.1"},
      {head + sole + "LFoot,1,1,0,0.6\n",
       "soles.csv:5: expected the friction 0.5 of the other corners of LFoot, found 0.6"},
      {head + sole + "RFoot,0,0,0,0.5\n", "soles.csv:5: RFoot: expected at least 3 corners of a sole, found 1"},
      {head + "LFoot,0,0,0,0.5\nLFoot,1,0,0,0.5\nLFoot,2,0,0,0.5\n",
       "soles.csv:2: LFoot: expected the corners of a sole not to lie on a line"},
      {head + "LFoot,0,0,0,0.5\nLFoot,0,0,0,0.5\nLFoot,0,0,0,0.5\n",
       "soles.csv:2: LFoot: expected the corners of a sole not to lie on a line"},
      {head + sole + "LFoot,0.2,0.2,0,0.5\n", "soles.csv:2: LFoot: expected a convex sole, found a corner within it"},
      {head + sole + "LFoot,1,1,0.1,0.5\n",
       "soles.csv:2: LFoot: expected the corners of a sole in one plane, to a millimetre"},
  };
  for (const auto& [text, expected] : cases) EXPECT_EQ(error_of_soles(text), expected) << text;
  EXPECT_EQ(error_of_soles(head + sole), "");
}

}  // namespace
}  // namespace korvel::host
