#include <fmt/format.h>

#include <boost/algorithm/string/replace.hpp>
#include <exception>
#include <memory>
#include <new>
#include <sstream>
#include <string>
#include <vector>

#include "host/cli/commands.h"
#include "host/cli/console.h"
#include "motion/csv/csv_reader.h"
#include "motion/csv/error.h"

namespace korvel::host {

namespace {

const char* const self = "/proc/self/exe";

/// A file that belongs to the executable: beside it as built, in the folder `installed` of the prefix as installed.
std::filesystem::path own_file(const char* name, const char* installed) {
  const std::filesystem::path directory = std::filesystem::read_symlink(self).parent_path();
  const std::filesystem::path built = directory / name;
  return std::filesystem::exists(built) ? built : directory.parent_path() / installed / name;
}

}  // namespace

std::filesystem::path default_module() { return own_file("libkorvel.so", KORVEL_MODULE_DIRECTORY); }

std::filesystem::path report_template() { return own_file("report.html", "share/korvel"); }

Outputs outputs_beside(const std::filesystem::path& module) {
  Outputs outputs;
  outputs.keep(module, "the module");
  outputs.keep(default_module(), "the installed module");
  outputs.keep(report_template(), "the page of the report");
  outputs.keep(self, "korvel-host");
  outputs.keep("/dev/stdout", "the standard output");
  outputs.keep("/dev/stderr", "the standard error");
  return outputs;
}

namespace {

constexpr int failure = 1;
constexpr int unusable_input = 2;

/// The status stays what it is if nobody can be told.
int report(const std::string& line, int status) {
  try {
    tell("error", line);
  } catch (const StreamError&) {
  }
  return status;
}

std::string unknown_command(const CLI::App& app, const std::string& name) {
  std::vector<std::string> names;
  for (const CLI::App* each : app.get_subcommands([](const CLI::App*) { return true; })) {
    names.push_back(each->get_name());
  }
  return fmt::format("unknown command '{:.40}'{}; see 'korvel-host --help'", name, did_you_mean(name, names));
}

/// Rewords the parser's errors about known options.
std::string words_of(const CLI::ParseError& error) {
  const std::string words = error.what();
  // "--urdf: 1 required FILE missing", "--json excludes --dot".
  if (error.get_name() == "ArgumentMismatch") {
    const bool is_missing = words.find("missing") != std::string::npos;
    return words.substr(0, words.find(':')) + (is_missing ? ": its value is missing" : ": expected once");
  }
  if (error.get_name() == "ExcludesError") {
    return boost::replace_first_copy(words, " excludes ", " cannot be combined with ");
  }
  return boost::replace_first_copy(words, "--output is required", "-o, --output is required");
}

/// The sentence about a line that cannot be parsed, and where help is.
std::string words(const CLI::App& app, const CLI::ParseError& error) {
  const std::vector<CLI::App*> chosen = app.get_subcommands();
  if (chosen.empty() && app.remaining().empty()) return "name a command; see 'korvel-host --help'";
  const CLI::App& command = chosen.empty() ? app : *chosen.front();
  const std::string name = chosen.empty() ? "" : command.get_name();
  const std::string help = fmt::format("; see 'korvel-host {}--help'", name.empty() ? "" : name + ' ');
  const std::string of = name.empty() ? "" : name + ": ";
  const std::vector<std::string> unknown = command.remaining();
  if (unknown.empty()) return of + words_of(error) + help;
  const std::string& word = unknown.front();
  if (word.rfind('-', 0) == 0) {
    std::vector<std::string> names;
    for (const CLI::Option* option : command.get_options()) names.push_back(option->get_name());
    return fmt::format("{}unknown option '{:.40}'{}{}", of, word, did_you_mean(word, names), help);
  }
  return chosen.empty() ? unknown_command(app, word) : fmt::format("{}unexpected argument '{:.40}'{}", of, word, help);
}

constexpr std::size_t help_width = 80;
constexpr std::size_t description_column = 26;

/// Breaks text at spaces into lines that fit beside the names of options.
std::string wrapped(const std::string& text) {
  std::istringstream words(text);
  std::string lines;
  std::size_t length = 0;
  for (std::string word; words >> word; length += word.size() + 1) {
    const bool breaks = length + word.size() > help_width - description_column;
    if (length > 0) lines += breaks ? '\n' : ' ';
    if (breaks) length = 0;
    lines += word;
  }
  return lines;
}

/// Help of at most 80 columns: an option with its type, then its description and its default. Constraints of values
/// stand in descriptions where users need them.
class HelpFormatter : public CLI::Formatter {
 public:
  HelpFormatter() {
    column_width(description_column);
    label("SUBCOMMAND", "COMMAND");
  }
  std::string make_option_opts(const CLI::Option* option) const override {
    const std::string type = option->get_type_name();
    return option->get_positional() || option->get_type_size() == 0 ? "" : " " + type.substr(0, type.find(':'));
  }
  std::string make_option_desc(const CLI::Option* option) const override {
    const std::string standard = option->get_default_str();
    return wrapped(option->get_description() + (standard.empty() ? "" : fmt::format(" (default: {})", standard)));
  }
};

/// Adds `help COMMAND`, which shows what `COMMAND --help` does.
void add_help(CLI::App& app) {
  CLI::App* help = app.add_subcommand("help", "Show the help of a command")->group("");
  const auto name = std::make_shared<std::string>();
  help->add_option("COMMAND", *name, "Name of a command");
  help->callback([&app, name] {
    const auto named = [&](const CLI::App* command) { return command->get_name() == *name; };
    const std::vector<CLI::App*> found = app.get_subcommands(named);
    if (found.empty() && !name->empty()) throw Error(unknown_command(app, *name));
    // The application's own help() would show that of the command that was chosen, this one.
    const auto shown = [&](const CLI::App& command, const std::string& words) {
      show(app.get_formatter()->make_help(&command, words, CLI::AppFormatMode::Normal));
    };
    name->empty() ? shown(app, app.get_name()) : shown(*found.front(), app.get_name() + ' ' + *name);
  });
}

/// Runs the command, which is done while its line is parsed.
int parse_and_run(CLI::App& app, int argc, char** argv) {
  try {
    app.parse(argc, argv);
    return 0;
  } catch (const CLI::Success& asked) {
    std::ostringstream text;
    app.exit(asked, text);
    show(text.str());
    return 0;
  } catch (const CLI::ParseError& error) {
    return report(words(app, error), unusable_input);
  }
}

int run_command(int argc, char** argv) {
  try {
    CLI::App app{"Run motions through the korvel robot model, check and export the model, and\nreplay recordings",
                 "korvel-host"};
    app.formatter(std::make_shared<HelpFormatter>());
    app.set_help_flag("-h,--help", "Show this help");
    app.set_version_flag("--version", KORVEL_VERSION, "Show the version");
    app.require_subcommand(1);
    app.footer("See 'korvel-host COMMAND --help', and man korvel-host.");
    for (AddCommand* add : commands) add(app);
    add_help(app);
    return parse_and_run(app, argc, argv);
  } catch (const Findings&) {
    return failure;
  } catch (const Error& error) {
    return report(error.what(), unusable_input);
  } catch (const std::filesystem::filesystem_error& error) {
    return report(fmt::format("{}: {}", error.path1().string(), error.code().message()), unusable_input);
  } catch (const std::bad_alloc&) {
    return report("out of memory", failure);
  } catch (const std::exception& error) {
    return report(error.what(), failure);
  } catch (...) {
    return report("unknown failure: something was thrown that is no std::exception", failure);
  }
}

}  // namespace

}  // namespace korvel::host

// NOLINTNEXTLINE(bugprone-exception-escape): only what cannot be reported gets here, and ends the process.
int main(int argc, char** argv) {
  korvel::host::reserve_standard_streams();
  return korvel::host::run_command(argc, argv);
}
