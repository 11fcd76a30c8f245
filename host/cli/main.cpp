#include <fmt/format.h>

#include <exception>
#include <new>
#include <string>

#include "host/cli/commands.h"
#include "host/cli/console.h"
#include "host/io/error.h"

namespace korvel::host {

namespace {

const char* const self = "/proc/self/exe";

}  // namespace

std::filesystem::path own_file(const char* name, const char* installed) {
  const std::filesystem::path directory = std::filesystem::read_symlink(self).parent_path();
  const std::filesystem::path built = directory / name;
  return std::filesystem::exists(built) ? built : directory.parent_path() / installed / name;
}

std::filesystem::path default_module() { return own_file("libkorvel.so", KORVEL_MODULE_DIRECTORY); }

std::filesystem::path report_template() { return own_file("report.html", "share/korvel"); }

std::filesystem::path mcap_script() { return own_file("mcap.mjs", "share/korvel"); }

Outputs outputs_beside(const std::filesystem::path& module) {
  Outputs outputs;
  outputs.keep(module, "the module");
  outputs.keep(default_module(), "the installed module");
  outputs.keep(report_template(), "the page of the report");
  outputs.keep(mcap_script(), "the script that writes MCAP");
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
    tell(line);
  } catch (const StreamError&) {
  }
  return status;
}

std::string words(const CLI::App& app, const CLI::ParseError& error) {
  const std::vector<std::string> unknown = app.remaining();
  const bool has_command = !app.get_subcommands().empty();
  if (has_command || unknown.empty()) return error.what();
  const bool is_option = unknown.front().rfind('-', 0) == 0;
  return fmt::format("unknown {} '{:.40}'", is_option ? "option" : "command", unknown.front());
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
    return report(words(app, error) + " (--help tells more)", unusable_input);
  }
}

int run_command(int argc, char** argv) {
  try {
    CLI::App app{"Reference host of the korvel module", "korvel-host"};
    app.set_version_flag("--version", KORVEL_VERSION);
    app.require_subcommand(1);
    for (AddCommand* add : commands) add(app);
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
