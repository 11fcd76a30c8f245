#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <system_error>

#include "host/cli/commands.h"
#include "host/io/error.h"

namespace korvel::host {

std::filesystem::path own_file(const char* name, const char* installed) {
  const std::filesystem::path directory = std::filesystem::read_symlink("/proc/self/exe").parent_path();
  const std::filesystem::path built = directory / name;
  return std::filesystem::exists(built) ? built : directory.parent_path() / installed / name;
}

std::filesystem::path default_module() { return own_file("libkorvel.so", KORVEL_MODULE_DIRECTORY); }

void add_module_option(CLI::App& command, std::filesystem::path& module) {
  command.add_option("--module", module, "The module to load")->type_name("FILE")->capture_default_str();
}

namespace {

constexpr int failure = 1;
constexpr int unusable_input = 2;

int report(const std::exception& error, int status) {
  fmt::print(stderr, "{}\n", error.what());
  return status;
}

int parse_and_run(int argc, char** argv) {
  CLI::App app{"Reference host of the korvel module", "korvel-host"};
  app.set_version_flag("--version", KORVEL_VERSION);
  app.require_subcommand(1);
  try {
    for (AddCommand* add : commands) add(app);
    app.parse(argc, argv);
    return 0;
  } catch (const CLI::Success& help) {
    return app.exit(help);
  } catch (const CLI::ParseError& error) {
    fmt::print(stderr, "{} (--help tells more)\n", error.what());
    return unusable_input;
  } catch (const Findings&) {
    return failure;
  } catch (const Error& error) {
    return report(error, unusable_input);
  } catch (const std::filesystem::filesystem_error& error) {
    return report(error, unusable_input);
  } catch (const std::exception& error) {
    return report(error, failure);
  }
}

}  // namespace

}  // namespace korvel::host

// NOLINTNEXTLINE(bugprone-exception-escape): only what cannot be reported gets here, and ends the process.
int main(int argc, char** argv) {
  const int status = korvel::host::parse_and_run(argc, argv);
  if (status == 0 && std::fflush(stdout) != 0) {
    std::perror("cannot write to the standard output");
    return 1;
  }
  return status;
}
