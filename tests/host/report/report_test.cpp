#include <nlohmann/json.hpp>
#include <tuple>

#include "tests/host/support/command.h"

namespace korvel::host {
namespace {

using Json = nlohmann::json;

class Report : public CommandTest {
 protected:
  void SetUp() override {
    if (!std::filesystem::exists(KORVEL_REPORT_PAGE)) GTEST_SKIP() << "the page was not built";
    write(directory_ / "motion.csv", "time,z,LKneePitch,HeadYaw\n2.5,0.3,0.1,0\n2.6,0.31,0.3,-0.5\n2.8,0.3,0.2,1e-7\n");
    succeeded("run motion.csv -o results.csv --air");
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
  succeeded("report results.csv -o page.html");
  succeeded("report reversed/results.csv -o reversed.html");
  EXPECT_EQ(page_data("page.html"), page_data("reversed.html"));
}

// No part of a file's name is taken for markup or lost.
TEST_F(Report, NamesStayText) {
  const std::string name = R"(<!--<script>"&amp;\.csv)";
  std::filesystem::rename(directory_ / "results.csv", directory_.path() / name);
  std::filesystem::rename(directory_ / "results.json", directory_.path() / R"(<!--<script>"&amp;\.json)");
  succeeded(fmt::format("report '{}' -o page.html", name));
  const std::string text = page_data("page.html");
  EXPECT_EQ(text.find('<'), std::string::npos);
  EXPECT_EQ(Json::parse(text)["file"], name);
}

// Files that no `run` has written, or of which a part was changed.
TEST_F(Report, UnusableResultsAreRefused) {
  const std::string good = read(directory_ / "results.csv");
  std::filesystem::copy(KORVEL_MOTIONS "/soles.csv", directory_ / "soles.csv");
  succeeded("run motion.csv -o standing.csv --soles soles.csv");
  const std::string standing = read(directory_ / "standing.csv");
  const Json in_air = Json::parse(read(directory_ / "results.json"));
  const Json on_ground = Json::parse(read(directory_ / "standing.json"));
  const auto replaced = [](std::string text, const std::string& old, const std::string& now) {
    return text.replace(text.find(old), old.size(), now);
  };
  const auto described = [&](const std::string& pointer, const Json& value) {
    Json description = in_air;
    description[Json::json_pointer(pointer)] = value;
    return description.dump();
  };
  const auto write_odd = [&](const std::string& results, const std::string& description) {
    write(directory_ / "odd.csv", results);
    write(directory_ / "odd.json", description);
  };
  const std::string no_description = "odd.json: expected the description of results that 'korvel-host run' of this";
  const std::tuple<std::string, std::string, std::string> cases[] = {
      {replaced(good, ",HeadPitch_com_y,", ",Nose_com_y,"), in_air.dump(),
       "odd.csv:1: expected the column 'HeadPitch_com_y' that 'korvel-host run' writes, found none"},
      {replaced(good, "\n2.6,", "\n2.6,none"), in_air.dump(),
       "odd.csv:3: expected a number in column 'HeadYaw_angle', found 'none"},
      {read(directory_ / "motion.csv"), in_air.dump(), "odd.csv:1: expected the column 'com_x' that"},
      {good, on_ground.dump(), "odd.csv:1: expected the column 'LAnkleRoll_force_x' that"},
      // Numbers of another column under the name of contacts.
      {replaced(replaced(standing, "RAnkleRoll_contact", "former_contact"), "com_root_x", "RAnkleRoll_contact"),
       on_ground.dump(), "odd.csv:2: expected 0 or 1 in column 'RAnkleRoll_contact', found "},
      {good, R"({"bodies":)", no_description},
      {good, R"({"mass":1,"weight":9.81,"bodies":[],"joints":[{"name":3}]})", no_description},
      // Each body but the first has a parent before it.
      {good, described("/bodies/5/parent", -2), no_description},
      {good, described("/bodies/5/parent", 5), no_description},
      {good, described("/bodies/5", {{"name", "LElbowYaw"}, {"rest", {0, 0, 0}}}), no_description},
      {good, described("/limits", {{"HeadYaw", {{"lower", -1}}}}), no_description},
  };
  write(directory_ / "old.html", "old page\n");
  for (const auto& [results, description, words] : cases) {
    write_odd(results, description);
    expect_refused("report odd.csv -o old.html", words);
  }
  write(directory_ / "alone.csv", good);
  expect_refused("report alone.csv -o page.html",
                 "alone.csv: expected results of 'korvel-host run' with alone.json beside them");
  expect_refused("report results.csv results.csv results.csv -o page.html", "unexpected argument 'results.csv'");
  expect_refused("report results.csv -o results.json",
                 "results.json: cannot write: would replace the description of the results");
  // Columns that the page does not show may be missing.
  write_odd(replaced(standing, "com_root_x", "com_root_w"), on_ground.dump());
  succeeded("report odd.csv -o older.html");
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
  expect_has(help.out, missing);
  EXPECT_EQ(host("--help", ":", installed).out.find("\n  report "), std::string::npos);

  std::filesystem::create_directories(directory_ / "prefix/share/korvel");
  std::filesystem::copy(KORVEL_REPORT_PAGE, directory_ / "prefix/share/korvel");
  EXPECT_EQ(host(arguments, ":", installed).status, 0);
  EXPECT_EQ(Json::parse(page_data("page.html"))["file"], "results.csv");
}

}  // namespace
}  // namespace korvel::host
