#include <nlohmann/json.hpp>

#include "host/robot/module.h"
#include "tests/host/support/command.h"

namespace korvel::host {
namespace {

using Json = nlohmann::json;

class Report : public CommandTest {
 protected:
  void SetUp() override {
    if (!std::filesystem::exists(KORVEL_REPORT_PAGE)) GTEST_SKIP() << "the page was not built";
    write(directory_ / "motion.csv", "time,z,LKneePitch,HeadYaw\n0,0.3,0.1,0\n0.1,0.31,0.3,-0.5\n0.3,0.3,0.2,1e-7\n");
    columns_ = results();
  }

  /// Text of the element of data.
  std::string data_text(const char* page) const {
    const std::string text = read(directory_ / page);
    const std::string tag = R"(<script type="application/json" id="data">)";
    const std::size_t start = text.find(tag) + tag.size();
    return text.substr(start, text.find("</script>", start) - start);
  }

  void expect_point(const Json& point, const std::string& name) const {
    ASSERT_EQ(point.size(), 3) << name;
    EXPECT_EQ(point[0], Json(columns_.at(name + "_x"))) << name;
    EXPECT_EQ(point[1], Json(columns_.at(name + "_y"))) << name;
    EXPECT_EQ(point[2], Json(columns_.at(name + "_z"))) << name;
  }

  std::map<std::string, std::vector<float>> columns_;
};

/// The same with all numbers in single precision.
Json in_float(const Json& json) {
  if (json.is_number_float()) return json.get<float>();
  if (!json.is_structured()) return json;
  Json copy = json;
  for (Json& item : copy) item = in_float(item);
  return copy;
}

// Every number of the file is in the page, with the robot that the module has.
TEST_F(Report, DataAreThoseOfFileAndModule) {
  const Outcome outcome = host("report results.csv -o page.html");
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  const Json data = in_float(Json::parse(data_text("page.html")));
  const System system = Module(KORVEL_MODULE).create();

  EXPECT_EQ(data["file"], "results.csv");
  EXPECT_EQ(data["mass"], system->getMass());
  EXPECT_EQ(data["time"], Json(columns_["time"]));
  expect_point(data["com"], "com");
  ASSERT_EQ(data["joints"].size(), system->getNbJointAngles());
  for (unsigned long j = 0; j < system->getNbJointAngles(); ++j) {
    const Json& joint = data["joints"][j];
    EXPECT_EQ(joint["name"], system->getJointAngleName(j));
    EXPECT_EQ(joint["body"], j + 1);
    EXPECT_EQ(joint["torque"], Json(columns_.at(system->getJointAngleName(j) + "_torque")));
  }
  ASSERT_EQ(data["bodies"].size(), system->getNbBodies());
  for (unsigned long b = 0; b < system->getNbBodies(); ++b) {
    const Json& body = data["bodies"][b];
    EXPECT_EQ(body["name"], system->getBodyName(b));
    EXPECT_EQ(body["parent"], system->getParentsVector()[b]);
    EXPECT_EQ(body["mass"], system->getMass(b));
    expect_point(body["origin"], system->getBodyName(b));
    expect_point(body["com"], system->getBodyName(b) + "_com");
  }
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
  EXPECT_EQ(data_text("page.html"), data_text("reversed.html"));
}

// Nothing in a name of a file is taken for markup, or lost.
TEST_F(Report, NamesStayText) {
  const std::string name = R"(<!--<script>"&amp;\.csv)";
  std::filesystem::rename(directory_ / "results.csv", directory_.path() / name);
  const Outcome outcome = host(fmt::format("report '{}' -o page.html", name));
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  const std::string text = data_text("page.html");
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
  write(directory_ / "word.csv", replaced("\n0.1,", "\n0.1,none"));
  write(directory_ / "infinite.csv", replaced("\n0.1,", "\n1e999,"));
  write(directory_ / "shorter.csv", replaced("\n0.3,", "\n"));
  write(directory_ / "backwards.csv", replaced("\n0.3,", "\n0.05,"));
  write(directory_ / "header.csv", header + '\n');
  write(directory_ / "empty.csv", "");
  write(directory_ / "old.html", "old page\n");
  const std::vector<std::string> before = files();

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
      {"backwards.csv -o page.html", "backwards.csv:4: expected a time after 0.1, found 0.05"},
      {"header.csv -o page.html", "header.csv:2: expected a sample, found the end of the file"},
      {"empty.csv -o page.html", "empty.csv:1: expected a header row, found an empty file"},
      {"none.csv -o page.html", "none.csv: cannot read"},
      {"results.csv -o results.csv", "results.csv: the report would replace the results"},
      {"results.csv -o nowhere/page.html", "No such file or directory"},
      {"results.csv -o page.html --module none.so", "cannot load module 'none.so'"},
      {"results.csv", "--output is required"},
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
  EXPECT_EQ(Json::parse(data_text("page.html"))["file"], "results.csv");
}

}  // namespace
}  // namespace korvel::host
