#include <nlohmann/json.hpp>
#include <sstream>

#include "host/robot/module.h"
#include "tests/host/report/page_data.h"
#include "tests/host/support/command.h"

namespace korvel::host {
namespace {

using Json = nlohmann::json;

class Report : public CommandTest {
 protected:
  void SetUp() override {
    if (!std::filesystem::exists(KORVEL_REPORT_PAGE)) GTEST_SKIP() << "the page was not built";
    write(directory_ / "motion.csv", "time,z,LKneePitch,HeadYaw\n2.5,0.3,0.1,0\n2.6,0.31,0.3,-0.5\n2.8,0.3,0.2,1e-7\n");
    columns_ = results();
  }

  std::string page_data(const char* page) const { return data_text(read(directory_ / page)); }

  std::map<std::string, std::vector<float>> columns_;
};

/// The results with 0.5 in a column of contact, in the third line.
std::string with_half_a_contact(const std::string& results) {
  std::istringstream lines(results);
  std::string text;
  std::size_t column = 0;
  std::size_t number = 0;
  for (std::string line; std::getline(lines, line);) {
    if (++number == 1) {
      const auto name = static_cast<std::ptrdiff_t>(line.find("RAnkleRoll_contact"));
      column = static_cast<std::size_t>(std::count(line.begin(), line.begin() + name, ','));
    }
    if (number == 3) {
      std::size_t start = 0;
      for (std::size_t i = 0; i < column; ++i) start = line.find(',', start) + 1;
      line.replace(start, line.find(',', start) - start, "0.5");
    }
    text += line + '\n';
  }
  return text;
}

// Every number of the file is in the page, with the robot that the module has: what is shown as a number exactly, what
// is drawn within 8 micrometres.
TEST_F(Report, DataAreThoseOfFileAndModule) {
  const Outcome outcome = host("report results.csv -o page.html");
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  const Json data = Json::parse(page_data("page.html"));
  const System system = Module(KORVEL_MODULE).create();
  const Unpacked unpacked(data["columns"], data["shown"]);
  const auto expect_curve = [&](const Json& curve, const std::string& name) {
    EXPECT_EQ(unpacked.exact(curve["values"]), columns_.at(name)) << name;
    EXPECT_EQ(curve.size(), 1) << name;
  };
  const auto expect_points = [&](const Json& points, const std::string& name) {
    ASSERT_EQ(points.size(), 3) << name;
    for (std::size_t axis = 0; axis < 3; ++axis) {
      const auto& expected = columns_.at(fmt::format("{}_{}", name, "xyz"[axis]));
      const auto found = unpacked.rounded(points[axis]["column"], points[axis]["unit"]);
      for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_NEAR(found[i], static_cast<double>(expected[i]), 8e-6) << name;
      }
    }
  };

  EXPECT_EQ(data["file"], "results.csv");
  EXPECT_EQ(data["samples"], 3);
  EXPECT_EQ(data["shown"], 3);
  EXPECT_EQ(data["stride"], 1);
  EXPECT_EQ(data["start"], 2.5);
  EXPECT_EQ(unpacked.time(), (std::vector<double>{0, 0.1, 0.3}));
  EXPECT_EQ(data["mass"].get<float>(), system->getMass());
  ASSERT_EQ(data["com"].size(), 3);
  for (std::size_t axis = 0; axis < 3; ++axis) expect_curve(data["com"][axis], fmt::format("com_{}", "xyz"[axis]));
  ASSERT_EQ(data["joints"].size(), system->getNbJointAngles());
  for (unsigned long j = 0; j < system->getNbJointAngles(); ++j) {
    const Json& joint = data["joints"][j];
    EXPECT_EQ(joint["name"], system->getJointAngleName(j));
    EXPECT_EQ(joint["body"], j + 1);
    expect_curve(joint["torque"], system->getJointAngleName(j) + "_torque");
  }
  ASSERT_EQ(data["bodies"].size(), system->getNbBodies());
  for (unsigned long b = 0; b < system->getNbBodies(); ++b) {
    const Json& body = data["bodies"][b];
    EXPECT_EQ(body["name"], system->getBodyName(b));
    EXPECT_EQ(body["parent"], system->getParentsVector()[b]);
    EXPECT_EQ(body["mass"].get<float>(), system->getMass(b));
    expect_points(body["origin"], system->getBodyName(b));
    expect_points(body["com"], system->getBodyName(b) + "_com");
  }
  EXPECT_EQ(unpacked.columns(), 3 + data["joints"].size() + 6 * data["bodies"].size());
}

// Of a run on the ground too; the soles come from the file that names them. A second run has what its curves need.
TEST_F(Report, DataOfARunOnTheGround) {
  const std::string soles = "--soles '" KORVEL_MOTIONS "/soles.csv'";
  ASSERT_EQ(host("run motion.csv -o standing.csv --ground 0.01 " + soles).status, 0);
  ASSERT_EQ(host("report standing.csv results.csv -o page.html --ground 0.01 " + soles).status, 0);
  const Json data = Json::parse(page_data("page.html"));
  const Unpacked unpacked(data["columns"], data["shown"]);
  std::map<std::string, std::vector<float>> columns = columns_in("standing.csv");
  EXPECT_EQ(data["ground_height"], 0.01);
  const Json& ground = data["ground"];
  const auto expect_rounded = [&](const Json& place, const std::string& name, double tolerance) {
    const auto found = unpacked.rounded(place["column"], place["unit"]);
    for (std::size_t i = 0; i < found.size(); ++i) {
      EXPECT_NEAR(found[i], static_cast<double>(columns.at(name)[i]), tolerance) << name;
    }
  };
  EXPECT_EQ(unpacked.exact(ground["margin"]["values"]), columns.at("zmp_margin"));
  expect_rounded(ground["feasible"], "feasible", 0);
  expect_rounded(ground["residual"], "contact_residual", 8e-6);
  for (std::size_t axis = 0; axis < 2; ++axis) {
    expect_rounded(ground["zmp"][axis], fmt::format("zmp_{}", "xy"[axis]), 8e-6);
  }
  ASSERT_EQ(ground["soles"].size(), 2);
  for (const Json& sole : ground["soles"]) {
    const std::string name = sole["name"];
    EXPECT_EQ(data["bodies"][sole["body"].get<std::size_t>()]["name"], name);
    EXPECT_EQ(unpacked.exact(sole["load"]["values"]), columns.at(name + "_force_z"));
    expect_rounded(sole["contact"], name + "_contact", 0);
    for (std::size_t axis = 0; axis < 2; ++axis) {
      expect_rounded(sole["shear"][axis], fmt::format("{}_force_{}", name, "xy"[axis]), 5e-4);
      expect_rounded(sole["pressure"][axis], fmt::format("{}_cop_{}", name, "xy"[axis]), 8e-6);
    }
    for (std::size_t part = 0; part < 4; ++part) {
      expect_rounded(sole["orientation"][part], fmt::format("{}_q{}", name, "wxyz"[part]), 8e-6);
    }
    EXPECT_EQ(sole["corners"].size(), 4);
  }
  const Json& other = data["other"];
  EXPECT_EQ(other["file"], "results.csv");
  EXPECT_FALSE(other.contains("ground"));
  EXPECT_EQ(Unpacked(other["columns"], other["shown"]).columns(), 3 + other["joints"].size());
}

// A sample that the ground cannot bear is not lost between those that are shown.
TEST_F(Report, ThinningKeepsWhatCannotBeBorne) {
  ASSERT_EQ(host("run motion.csv -o standing.csv --soles '" KORVEL_MOTIONS "/soles.csv'").status, 0);
  const std::string text = read(directory_ / "standing.csv");
  const std::string header = text.substr(0, text.find('\n'));
  const std::string zeros =
      std::string(static_cast<std::size_t>(std::count(header.begin(), header.end(), ',')) - 1, '0');
  std::string row;
  for (const char zero : zeros) row += fmt::format(",{}", zero);
  std::string rows = header + '\n';
  // The last column is `feasible`.
  for (std::size_t i = 0; i < 50000; ++i) rows += fmt::format("{}{},{}\n", i, row, i == 20001 || i == 30002 ? 0 : 1);
  write(directory_ / "long.csv", rows);
  ASSERT_EQ(host("report long.csv -o page.html").status, 0);
  const Json data = Json::parse(page_data("page.html"));
  ASSERT_EQ(data["stride"], 4);
  const Unpacked unpacked(data["columns"], data["shown"]);
  const auto low = unpacked.rounded(data["ground"]["feasible"]["low"], 1);
  const auto time = unpacked.time();
  std::vector<double> red;
  for (std::size_t i = 0; i < low.size(); ++i) {
    if (low[i] < 1) red.push_back(time[i]);
  }
  EXPECT_EQ(red, (std::vector<double>{20000, 20001, 30000}));
}

// Of a long file the page has some samples, and of the curves the bounds of all; equal files give equal pages.
TEST_F(Report, LongResultsAreThinned) {
  constexpr std::size_t count = 21000;
  const std::string results = read(directory_ / "results.csv");
  const std::string header = results.substr(0, results.find('\n'));
  // The first column but time is a torque: 1 at one sample, or else 0.
  const std::string row = header.substr(header.find("_torque"));
  std::string zeros;
  for (const char c : row) zeros += c == ',' ? ",0" : "";
  std::string text = header + '\n';
  for (std::size_t i = 0; i < count; ++i) text += fmt::format("176000{:05}.5,{}{}\n", i, i == 12345 ? 1 : 0, zeros);
  write(directory_ / "long.csv", text);
  ASSERT_EQ(host("report long.csv -o page.html").status, 0);
  ASSERT_EQ(host("report long.csv -o again.html").status, 0);
  EXPECT_EQ(read(directory_ / "page.html"), read(directory_ / "again.html"));

  const Json data = Json::parse(page_data("page.html"));
  EXPECT_EQ(data["samples"], count);
  EXPECT_EQ(data["stride"], 2);
  // Every second, the peak and the last.
  constexpr std::size_t shown = count / 2 + 2;
  ASSERT_EQ(data["shown"], shown);
  EXPECT_EQ(data["start"], 17600000000.5);
  const Unpacked unpacked(data["columns"], shown);
  const Json& torque = data["joints"][0]["torque"];
  const auto values = unpacked.exact(torque["values"]);
  const auto highs = unpacked.exact(torque["high"]);
  const auto time = unpacked.time();
  constexpr std::size_t before = 12345 / 2;
  EXPECT_EQ(values[before], 0);
  EXPECT_EQ(highs[before], 1);
  EXPECT_EQ(values[before + 1], 1);
  EXPECT_EQ(time[before + 1], 12345);
  EXPECT_EQ(time[before + 2], 12346);
  EXPECT_EQ(time.back(), count - 1);
  std::vector<float> lows(shown, 0);
  lows[before + 1] = 1;
  EXPECT_EQ(unpacked.exact(torque["low"]), lows);
}

// Columns are found by name, and further ones do not matter.
TEST_F(Report, ColumnsComeInAnyOrder) {
  std::string reversed;
  read_csv(directory_ / "results.csv", [&](const CsvRow& row) {
    const std::vector<std::string> fields(row.fields.rbegin(), row.fields.rend());
    reversed += fmt::format("{},{}\n", row.line == 1 ? "more" : "7", fmt::join(fields, ","));
  });
  std::filesystem::create_directory(directory_ / "reversed");
  write(directory_ / "reversed/results.csv", reversed);
  ASSERT_EQ(host("report results.csv -o page.html").status, 0);
  ASSERT_EQ(host("report reversed/results.csv -o reversed.html").status, 0);
  EXPECT_EQ(page_data("page.html"), page_data("reversed.html"));
}

// Nothing in a name of a file is taken for markup, or lost.
TEST_F(Report, NamesStayText) {
  const std::string name = R"(<!--<script>"&amp;\.csv)";
  std::filesystem::rename(directory_ / "results.csv", directory_.path() / name);
  const Outcome outcome = host(fmt::format("report '{}' -o page.html", name));
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  const std::string text = page_data("page.html");
  EXPECT_EQ(text.find('<'), std::string::npos);
  EXPECT_EQ(Json::parse(text)["file"], name);
}

// Status 2, one line, and the directory as it was.
TEST_F(Report, UnusableInputIsRefusedAndLeavesNothingBehind) {
  const std::string good = read(directory_ / "results.csv");
  const std::string header = good.substr(0, good.find('\n'));
  const auto replaced = [&](const std::string& old, const std::string& now) {
    std::string text = good;
    return text.replace(text.find(old), old.size(), now);
  };
  write(directory_ / "lacks.csv", replaced(",HeadYaw_com_y,", ",Nose_com_y,"));
  write(directory_ / "twice.csv", replaced(",HeadYaw_com_y,", ",com_y,HeadYaw_com_y,"));
  write(directory_ / "word.csv", replaced("\n2.6,", "\n2.6,none"));
  write(directory_ / "infinite.csv", replaced("\n2.6,", "\n1e999,"));
  write(directory_ / "shorter.csv", replaced("\n2.8,", "\n"));
  write(directory_ / "backwards.csv", replaced("\n2.8,", "\n2.55,"));
  write(directory_ / "header.csv", header + '\n');
  write(directory_ / "empty.csv", "");
  std::filesystem::copy(KORVEL_MOTIONS "/soles.csv", directory_ / "soles.csv");
  ASSERT_EQ(host("run motion.csv -o standing.csv --soles soles.csv").status, 0);
  const std::string standing = read(directory_ / "standing.csv");
  std::string one_foot = standing;
  write(directory_ / "one_foot.csv", one_foot.replace(one_foot.find("LAnkleRoll_force_y"), 18, "LAnkleRoll_force_w"));
  write(directory_ / "half.csv", with_half_a_contact(standing));
  const std::string soles = read(directory_ / "soles.csv");
  write(directory_ / "one_sole.csv", soles.substr(0, soles.find("RAnkleRoll")));
  write(directory_ / "old.html", "old page\n");
  const std::vector<std::string> before = files();

  // What the page does not show may be missing.
  std::string older = standing;
  older.replace(older.find("com_root_x"), 10, "com_root_w");
  write(directory_ / "older.csv", older);
  EXPECT_EQ(host("report older.csv -o older.html").status, 0);
  std::filesystem::remove(directory_ / "older.csv");
  std::filesystem::remove(directory_ / "older.html");

  const auto count = std::count(header.begin(), header.end(), ',');
  const std::pair<std::string, std::string> cases[] = {
      {"lacks.csv -o page.html",
       "lacks.csv:1: expected the column 'HeadYaw_com_y' that 'korvel-host run' writes, found none"},
      {"motion.csv -o old.html",
       "motion.csv:1: expected the column 'HeadYaw_torque' that 'korvel-host run' writes, found none"},
      {"twice.csv -o page.html", "twice.csv:1: expected each column once, found a second 'com_y'"},
      {"word.csv -o old.html", "word.csv:3: expected a number in column 'HeadYaw_torque', found 'none"},
      {"infinite.csv -o page.html", "infinite.csv:3: expected a finite single-precision number in column"},
      {"shorter.csv -o page.html", fmt::format("shorter.csv:4: expected {} columns, found {}", count + 1, count)},
      {"backwards.csv -o page.html", "backwards.csv:4: expected a time after 2.6, found 2.55"},
      {"header.csv -o page.html", "header.csv:2: expected a sample, found the end of the file"},
      {"empty.csv -o page.html", "empty.csv:1: expected a header row, found an empty file"},
      {"none.csv -o page.html", "none.csv: cannot read"},
      {"results.csv -o results.csv", "results.csv: cannot write: would replace the results"},
      {"results.csv -o nowhere/page.html", "No such file or directory"},
      {"results.csv -o page.html --module none.so", "cannot load module 'none.so'"},
      {"results.csv", "--output is required"},
      {"results.csv results.csv results.csv -o page.html", "not expected: results.csv"},
      {"results.csv --soles soles.csv -o page.html",
       "results.csv:1: expected results of a run with these soles, found no 'LAnkleRoll_contact'"},
      {"standing.csv --soles one_sole.csv -o page.html",
       "standing.csv:1: expected soles of all bodies that stand: RAnkleRoll has none"},
      {"results.csv --soles soles.csv -o soles.csv", "soles.csv: cannot write: would replace the soles"},
      {"results.csv old.csv -o page.html", "old.csv: cannot read"},
      {"results.csv --soles results.csv -o page.html", "results.csv:1: expected the columns body, x, y, z, friction"},
      {"results.csv --ground deep -o page.html", "--ground"},
      {"half.csv -o page.html", "half.csv:3: expected 0 or 1 in column 'RAnkleRoll_contact', found 0.5"},
      {"one_foot.csv -o page.html",
       "one_foot.csv:1: expected the column 'LAnkleRoll_force_y' that 'korvel-host run' writes, found none"},
  };
  for (const auto& [arguments, words] : cases) {
    const Outcome outcome = host("report " + arguments);
    EXPECT_EQ(outcome.status, 2) << arguments;
    EXPECT_NE(outcome.err.find(words), std::string::npos) << outcome.err;
    EXPECT_EQ(outcome.err.find('\n'), outcome.err.size() - 1) << outcome.err;
    EXPECT_EQ(files(), before) << arguments;
  }
  EXPECT_EQ(read(directory_ / "old.html"), "old page\n");
  EXPECT_EQ(read(directory_ / "results.csv"), good);
}

// The page is found beside the executable's folder as installed; without it the command says what to do.
TEST_F(Report, PageIsFoundWhereItIsInstalled) {
  std::filesystem::create_directories(directory_ / "prefix/bin");
  std::filesystem::copy(KORVEL_HOST_EXECUTABLE, directory_ / "prefix/bin/korvel-host");
  const std::string installed = directory_ / "prefix/bin/korvel-host";
  const std::string arguments = "report results.csv -o page.html --module '" KORVEL_MODULE "'";

  const Outcome without = host(arguments, ":", installed);
  EXPECT_EQ(without.status, 2);
  EXPECT_EQ(without.err, "report: its page was not built, install nodejs and npm and build korvel again\n");
  const Outcome help = host("report --help", ":", installed);
  EXPECT_EQ(help.status, 0);
  EXPECT_NE(help.out.find(without.err), std::string::npos) << help.out;
  EXPECT_EQ(host("--help", ":", installed).out.find("report"), std::string::npos);

  std::filesystem::create_directories(directory_ / "prefix/share/korvel");
  std::filesystem::copy(KORVEL_REPORT_PAGE, directory_ / "prefix/share/korvel");
  EXPECT_EQ(host(arguments, ":", installed).status, 0);
  EXPECT_EQ(Json::parse(page_data("page.html"))["file"], "results.csv");
}

}  // namespace
}  // namespace korvel::host
