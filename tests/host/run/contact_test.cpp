#include "tests/host/run/standing.h"

namespace korvel::host {
namespace {

class ContactTest : public StandingTest {};

// Below 5 mm and 0.05 m/s, unless somebody says otherwise: a sole that slides bears nothing, nor does one in the air.
TEST_F(ContactTest, ASoleStandsWhileItIsNearTheGroundAndSlow) {
  const struct {
    Eigen::Vector3d place, velocity;
    bool stands;
  } cases[] = {{{0, 0, 0}, {0, 0, 0}, true},
               {{0, 0, 0.004}, {0.03, -0.03, 0}, true},
               {{0, 0, 0.006}, {0, 0, 0}, false},
               {{0, 0, 0}, {0.06, 0, 0}, false},
               {{0, 0, 0}, {0, -0.06, 0}, false},
               {{0, 0, -0.02}, {0, 0, 0.06}, false},
               {{0, 0, -0.02}, {-0.04, -0.04, 0}, false}};
  for (const auto& [place, velocity, stands] : cases) {
    write_moved([&at = place, &v = velocity](double t) -> Eigen::Vector3d { return at + v * t; });
    EXPECT_EQ(ground(example).at("stands_throughout"), stands) << place << velocity;
    for (const char* foot : {"LAnkleRoll_contact", "RAnkleRoll_contact"}) {
      EXPECT_EQ(columns().at(foot), std::vector<double>(21, stands ? 1 : 0)) << place << velocity;
    }
  }
}

// Each bound by itself decides whether soles stand that are a little too high, too fast, or down for too short a time.
TEST_F(ContactTest, BoundsOfContactAreOptions) {
  const struct {
    const char* options;
    std::function<void(Values&, int)> change;
  } cases[] = {{" --contact-height 0.008", [](Values& v, int) { v["z"] += 0.007; }},
               {" --contact-speed 0.08", [](Values& v, int i) { v["x"] += 0.07 * 0.01 * i; }},
               {" --contact-time 0.03", [](Values& v, int i) { v["z"] += i < 8 || i > 11 ? 0.02 : 0.0; }}};
  for (const auto& [options, change] : cases) {
    std::string text = fmt::format("{}\n", fmt::join(names_, ","));
    for (int i = 0; i <= 20; ++i) {
      Values values = start_;
      values["time"] = 0.01 * i;
      change(values, i);
      for (const std::string& name : names_)
        text += fmt::format("{}{}", values[name], name == names_.back() ? "\n" : ",");
    }
    write(directory_ / "motion.csv", text);
    // Fast where it goes up and down again.
    const std::string fast = std::string(options).find("time") == std::string::npos ? "" : " --contact-speed 9";
    const auto stands = [&](const std::string& more) {
      return results_of("motion.csv", example + fast + more).at("LAnkleRoll_contact")[10] > 0;
    };
    EXPECT_FALSE(stands("")) << options;
    EXPECT_TRUE(stands(options)) << options;
  }
}

// No load jumps, neither in a step nor when a foot is lifted that still carries a tenth of the weight.
TEST_F(ContactTest, LoadGoesFromFootToFootSmoothly) {
  write(directory_ / "slow_step.csv", read(KORVEL_MOTIONS "/slow_step.csv"));
  write_changed(
      KORVEL_MOTIONS "/weight_shift.csv",
      [](Values values) {
        values["RAnkleRoll_contact"] = values["y"] > 0.053 ? 0 : 1;
        return values;
      },
      "RAnkleRoll_contact");
  for (const char* motion : {"slow_step.csv", "motion.csv"}) {
    const Columns step = results_of(motion, "--require-feasible " + example);
    const auto& in_contact = step.at("RAnkleRoll_contact");
    const auto& left = step.at("LAnkleRoll_force_z");
    const auto& right = step.at("RAnkleRoll_force_z");
    EXPECT_EQ(step.at("LAnkleRoll_contact"), std::vector<double>(in_contact.size(), 1)) << motion;
    EXPECT_GT(std::count(in_contact.begin(), in_contact.end(), 0), 100) << motion;
    EXPECT_GT(*std::max_element(right.begin(), right.end()), 0.5 * weight_) << motion;
    for (std::size_t s = 1; s < left.size(); ++s) {
      EXPECT_LT(std::abs(left[s] - left[s - 1]), 0.03 * weight_) << motion << " " << s;
      EXPECT_LT(std::abs(right[s] - right[s - 1]), 0.03 * weight_) << motion << " " << s;
    }
  }
}

// A robot below its ground, or above it, is told so.
TEST_F(ContactTest, SolesThatAreNotWhereTheGroundIsAreNamed) {
  write_accelerated({0, 0, 0});
  EXPECT_TRUE(ground(example).at("off_the_ground").empty());
  for (const auto& [height, words] :
       {std::pair("0.3", "the sole of LAnkleRoll counts as in contact 300 mm below the ground\n  at 0.000 s"),
        std::pair("-0.3", "the sole of LAnkleRoll counts as in contact 300 mm above the ground\n  at 0.000 s")}) {
    const std::string options = fmt::format(" --ground {}", height);
    EXPECT_EQ(ground(example + options).at("off_the_ground"), Json({"LAnkleRoll", "RAnkleRoll"}));
    const std::string told = host("run motion.csv -o results.csv " + example + options).out;
    EXPECT_EQ(told.find(words), 0U) << told;
  }
}

TEST_F(ContactTest, ContactColumnsAreOfSolesAndZeroOrOne) {
  write(directory_ / "plain.csv", "time\n0\n0.01\n");
  const std::pair<const char*, const char*> cases[] = {
      {"time,Torso_contact\n0,1\n",
       "motion.csv:1: expected contact columns of bodies with a sole, found 'Torso_contact'"},
      {"time,LAnkle_contact\n0,1\n",
       "motion.csv:1: expected contact columns of bodies with a sole, found 'LAnkle_contact'"},
      {"time,LAnkleRoll_contact\n0,1\n1,0.5\n",
       "motion.csv:3: expected 0 or 1 in column 'LAnkleRoll_contact', found 0.5"},
      {"time,LAnkleRoll_contact\n0,2\n", "motion.csv:2: expected 0 or 1 in column 'LAnkleRoll_contact', found 2"},
  };
  for (const auto& [text, expected] : cases) {
    write(directory_ / "motion.csv", text);
    const Outcome outcome = host("run motion.csv -o results.csv " + example);
    EXPECT_EQ(outcome.status, 2) << text;
    EXPECT_NE(outcome.err.find(expected), std::string::npos) << outcome.err;
    EXPECT_EQ(files(), (std::vector<std::string>{"motion.csv", "plain.csv"}));
  }
  // A robot that is held has no use for them, and no quarrel with them.
  write(directory_ / "motion.csv", "time,Torso_contact\n0,1\n");
  for (const std::string& options : {std::string("--air"), "--air " + example}) {
    EXPECT_EQ(host("run motion.csv -o results.csv " + options).status, 0) << options;
    EXPECT_EQ(columns().count("zmp_x"), 0U);
  }
}

}  // namespace
}  // namespace korvel::host
