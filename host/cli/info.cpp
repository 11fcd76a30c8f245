#include <fmt/format.h>

#include <memory>

#include "host/cli/commands.h"
#include "host/robot/description.h"
#include "host/robot/module.h"

namespace korvel::host {

namespace {

struct InfoOptions {
  std::filesystem::path module = default_module();
  bool json = false;
  bool dot = false;
};

void info(const InfoOptions& options) {
  const Robot robot = read_robot(*Module(options.module).create());
  const Identity module = identity(options.module);
  fmt::print("{}", options.json  ? described_as_json(module, robot)
                   : options.dot ? described_as_dot(robot)
                                 : described_as_table(module, robot));
}

}  // namespace

void add_info(CLI::App& app) {
  CLI::App* command = app.add_subcommand("info", "Describe the robot of a module and the conventions of its interface");
  const auto options = std::make_shared<InfoOptions>();
  add_module_option(*command, options->module);
  CLI::Option* json = command->add_flag("--json", options->json, "As JSON, with places and axes");
  command->add_flag("--dot", options->dot, "The tree of bodies for Graphviz")->excludes(json);
  command->callback([options] { info(*options); });
}

}  // namespace korvel::host
