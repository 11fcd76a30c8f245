#include <algorithm>
#include <regex>
#include <set>

#include "tests/host/support/command.h"

namespace korvel::host {
namespace {

using Words = std::set<std::string>;

/// Compares what is written about the command with what it says of itself.
class Documents : public CommandTest {
 protected:
  static Words all_of(const std::string& text, const char* pattern) {
    const std::regex regex(pattern, std::regex::multiline);
    Words words;
    for (std::sregex_iterator match(text.begin(), text.end(), regex), end; match != end; ++match) {
      words.insert((*match)[1].str());
    }
    return words;
  }

  /// Subcommands that are offered.
  Words commands() const {
    const std::string help = host("--help").out;
    return all_of(help.substr(help.find("Subcommands:")), "^  ([a-z]+) ");
  }
  Words options(const std::string& command) const {
    return all_of(host(command + " --help").out, "^ +(?:-[a-z],)?(--[a-z-]+)");
  }

  /// Returns what completion offers for the last of the words.
  Words completions(const std::vector<std::string>& words) const {
    std::string quoted;
    for (const std::string& word : words) quoted += fmt::format(" '{}'", word);
    const std::string script = fmt::format(
        R"(source '{}'; COMP_WORDS=('{}'{}); COMP_CWORD={}; _korvel_host; printf '%s\n' "${{COMPREPLY[@]}}")",
        KORVEL_COMPLETION, KORVEL_HOST_EXECUTABLE, quoted, words.size());
    write(directory_ / "script", script);
    const Outcome outcome = shell("bash script");
    EXPECT_EQ(outcome.err, "");
    std::filesystem::remove(directory_ / "script");
    Words offered = all_of(outcome.out, "^(.+)$");
    return offered;
  }
};

TEST_F(Documents, ManualHasEveryOption) {
  std::string manual = read(KORVEL_MANUAL);
  manual.erase(std::remove(manual.begin(), manual.end(), '\\'), manual.end());
  ASSERT_GE(commands().size(), 4U);
  for (const std::string& command : commands()) {
    const std::size_t start = manual.find(".SS " + command + "\n");
    ASSERT_NE(start, std::string::npos) << command;
    const std::string section = manual.substr(start, manual.find("\n.S", start + 1) - start);
    Words expected = options(command);
    EXPECT_EQ(expected.erase("--help"), 1U) << command;
    EXPECT_FALSE(expected.empty()) << command;
    EXPECT_EQ(all_of(section, "^\\.B.* (--[a-z-]+)"), expected) << command;
  }
  for (const char* section : {"OPTIONS", "FILES", "EXIT STATUS", "EXAMPLES"}) {
    expect_has(manual, std::string(".SH ") + section + "\n");
  }
}

TEST_F(Documents, HelpHasEightyColumnsAndNoPathOfThisMachine) {
  Words helped = commands();
  helped.insert("");
  for (const std::string& command : helped) {
    const std::string help = host(command + " --help").out;
    EXPECT_EQ(all_of(help, "^(.{81,})$"), Words{}) << command;
    EXPECT_EQ(all_of(help, "( /[a-z]+/)"), Words{}) << command;
    EXPECT_EQ(host("help " + command).out, help) << command;
  }
}

TEST_F(Documents, BashCompletesCommandsOptionsAndFiles) {
  write(directory_ / "mot.csv", "");
  std::filesystem::create_directory(directory_ / "motions");
  Words expected = commands();
  expected.insert({"--help", "--version"});
  Words offered = completions({""});
  for (const std::string& word : expected) EXPECT_EQ(offered.count(word), 1U) << word;
  EXPECT_EQ(completions({"va"}), Words{"validate"});
  for (const std::string& command : commands()) EXPECT_EQ(completions({command, "--"}), options(command)) << command;
  EXPECT_EQ(completions({"run", "mot"}), (Words{"mot.csv", "motions"}));
  EXPECT_EQ(completions({"run", "mot.csv", "-o", "mot"}), (Words{"mot.csv", "motions"}));
  EXPECT_EQ(completions({"info", "--module", "mot"}), (Words{"mot.csv", "motions"}));
  EXPECT_EQ(completions({"validate", "--only", "loading.c"}), (Words{"loading.copies", "loading.counts"}));
  EXPECT_EQ(completions({"validate", "--level", ""}), (Words{"1", "2", "3", "4", "5"}));
}

}  // namespace
}  // namespace korvel::host
