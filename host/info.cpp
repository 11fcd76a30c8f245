#include <fmt/format.h>

#include <memory>

#include "host/commands.h"
#include "host/description.h"
#include "host/module.h"

namespace korvel::host {

namespace {

struct InfoOptions {
  std::filesystem::path module = defaultModule();
  bool json = false;
  bool dot = false;
};

void info(const InfoOptions& options) {
  const Robot robot = readRobot(*Module(options.module).create());
  fmt::print("{}", options.json  ? describedAsJson(robot)
                   : options.dot ? describedAsDot(robot)
                                 : describedAsTable(robot));
}

}  // namespace

void addInfo(CLI::App& app) {
  CLI::App* command = app.add_subcommand("info", "Describe the robot of a module and the conventions of its interface");
  const auto options = std::make_shared<InfoOptions>();
  addModuleOption(*command, options->module);
  CLI::Option* json = command->add_flag("--json", options->json, "As JSON, with places and axes");
  command->add_flag("--dot", options->dot, "The tree of bodies for Graphviz")->excludes(json);
  command->callback([options] { info(*options); });
}

}  // namespace korvel::host
