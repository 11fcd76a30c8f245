#include <nlohmann/json.hpp>

#include "tests/host/support/command.h"

namespace korvel::host {
namespace {

using Json = nlohmann::json;

class Report : public CommandTest {
 protected:
  void SetUp() override {
    if (!std::filesystem::exists(KORVEL_REPORT_PAGE)) GTEST_SKIP() << "the page was not built";
    write(directory_ / "motion.csv", "time,z,LKneePitch,HeadYaw\n2.5,0.3,0.1,0\n2.6,0.31,0.3,-0.5\n2.8,0.3,0.2,1e-7\n");
    ASSERT_EQ(host("run motion.csv -o results.csv --air").status, 0);
  }

  /// The text of the page's element of data.
  std::string page_data(const char* page) const {
    const std::string text = read(directory_ / page);
    const std::string tag = R"(<script type="application/json" id="data">)";
    const std::size_t start = text.find(tag) + tag.size();
    return text.substr(start, text.find("</script>", start) - start);
  }
};

// Columns are found by name, and further ones do not matter.
TEST_F(Report, ColumnsComeInAnyOrder) {
  std::string reversed;
  read_csv(directory_ / "results.csv", [&](const CsvRow& row) {
    const std::vector<std::string> fields(row.fields.rbegin(), row.fields.rend());
    reversed += fmt::format("{},{}\n", row.line == 1 ? "more" : "7", fmt::join(fields, ","));
  });
  std::filesystem::create_directory(directory_ / "reversed");
  write(directory_ / "reversed/results.csv", reversed);
  std::filesystem::copy(directory_ / "results.json", directory_ / "reversed");
  ASSERT_EQ(host("report results.csv -o page.html").status, 0);
  ASSERT_EQ(host("report reversed/results.csv -o reversed.html").status, 0);
  EXPECT_EQ(page_data("page.html"), page_data("reversed.html"));
}

// Nothing in a name of a file is taken for markup, or lost.
TEST_F(Report, NamesStayText) {
  const std::string name = R"(<!--<script>"&amp;\.csv)";
  std::filesystem::rename(directory_ / "results.csv", directory_.path() / name);
  std::filesystem::rename(directory_ / "results.json", directory_.path() / R"(<!--<script>"&amp;\.json)");
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
  write(directory_ / "lacks.csv", replaced(",HeadPitch_com_y,", ",Nose_com_y,"));
  write(directory_ / "twice.csv", replaced(",HeadPitch_com_y,", ",com_y,HeadPitch_com_y,"));
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
  // Numbers of another column under the name of contacts.
  std::string half = standing;
  half.replace(half.find("RAnkleRoll_contact"), 18, "former_contact");
  write(directory_ / "half.csv", half.replace(half.find("com_root_x"), 10, "RAnkleRoll_contact"));
  for (const char* name : {"lacks", "twice", "word", "infinite", "shorter", "backwards", "header", "empty", "motion"}) {
    std::filesystem::copy(directory_ / "results.json", directory_ / fmt::format("{}.json", name).c_str());
  }
  for (const char* name : {"one_foot", "half", "older", "air"}) {
    std::filesystem::copy(directory_ / "standing.json", directory_ / fmt::format("{}.json", name).c_str());
  }
  write(directory_ / "air.csv", good);
  write(directory_ / "alone.csv", good);
  write(directory_ / "text.csv", good);
  write(directory_ / "text.json", "{\"bodies\":");
  write(directory_ / "other.csv", good);
  write(directory_ / "other.json", R"({"mass":1,"weight":9.81,"bodies":[],"joints":[{"name":3}]})");
  const auto describe = [&](const std::string& name, const std::string& pointer, const Json& value) {
    Json description = Json::parse(read(directory_ / "results.json"));
    description[Json::json_pointer(pointer)] = value;
    write(directory_.path() / (name + ".csv"), good);
    write(directory_.path() / (name + ".json"), description.dump());
  };
  // Each body but the first has a parent before it.
  for (const int parent : {-2, 5, 99}) describe(fmt::format("parent{}", parent), "/bodies/5/parent", parent);
  describe("orphan", "/bodies/5", {{"name", "LElbowYaw"}, {"rest", {0, 0, 0}}});
  describe("unused", "/limits", {{"HeadYaw", {{"lower", -1}}}});
  write(directory_ / "slow.csv", replaced(",HeadPitch_speed,", ",HeadPitch_pace,"));
  std::filesystem::copy(directory_ / "results.json", directory_ / "slow.json");
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
       "lacks.csv:1: expected the column 'HeadPitch_com_y' that 'korvel-host run' writes, found none"},
      {"motion.csv -o old.html", "motion.csv:1: expected the column 'com_x' that 'korvel-host run' writes, found none"},
      {"twice.csv -o page.html", "twice.csv:1: expected each column once, found a second 'com_y'"},
      {"word.csv -o old.html", "word.csv:3: expected a number in column 'HeadYaw_angle', found 'none"},
      {"infinite.csv -o page.html", "infinite.csv:3: expected a finite single-precision number in column"},
      {"shorter.csv -o page.html", fmt::format("shorter.csv:4: expected {} columns, found {}", count + 1, count)},
      {"backwards.csv -o page.html", "backwards.csv:4: expected times that increase, found 2.55 after 2.6"},
      {"header.csv -o page.html", "header.csv:2: expected a sample, found the end of the file"},
      {"empty.csv -o page.html", "empty.csv:1: expected a header row, found an empty file"},
      {"results.csv results.csv results.csv -o page.html", "unexpected argument 'results.csv'"},
      {"alone.csv -o page.html", "alone.csv: expected results of 'korvel-host run' with alone.json beside them"},
      {"text.csv -o page.html",
       "text.json: expected the description of results that 'korvel-host run' of this version"},
      {"other.csv -o page.html", "other.json: expected the description of results"},
      {"parent-2.csv -o page.html", "parent-2.json: expected the description of results"},
      {"parent5.csv -o page.html", "parent5.json: expected the description of results"},
      {"parent99.csv -o page.html", "parent99.json: expected the description of results"},
      {"orphan.csv -o page.html", "orphan.json: expected the description of results"},
      {"unused.csv -o page.html", "unused.json: expected the description of results"},
      {"slow.csv -o page.html", "slow.csv:1: expected the column 'HeadPitch_speed' that 'korvel-host run' writes"},
      {"results.csv -o results.json", "results.json: cannot write: would replace the description of the results"},
      {"air.csv -o page.html", "air.csv:1: expected the column 'LAnkleRoll_force_z' that"},
      {"half.csv -o page.html", "half.csv:2: expected 0 or 1 in column 'RAnkleRoll_contact', found "},
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
  const std::string arguments = "report results.csv -o page.html";

  const Outcome without = host(arguments, ":", installed);
  EXPECT_EQ(without.status, 2);
  const std::string missing = "report: its page was not built, install nodejs and npm and build korvel again\n";
  EXPECT_EQ(without.err, "korvel-host: error: " + missing);
  const Outcome help = host("report --help", ":", installed);
  EXPECT_EQ(help.status, 0);
  EXPECT_NE(help.out.find(missing), std::string::npos) << help.out;
  EXPECT_EQ(host("--help", ":", installed).out.find("\n  report "), std::string::npos);

  std::filesystem::create_directories(directory_ / "prefix/share/korvel");
  std::filesystem::copy(KORVEL_REPORT_PAGE, directory_ / "prefix/share/korvel");
  EXPECT_EQ(host(arguments, ":", installed).status, 0);
  EXPECT_EQ(Json::parse(page_data("page.html"))["file"], "results.csv");
}

}  // namespace
}  // namespace korvel::host
