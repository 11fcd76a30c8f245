#include <memory>
#include <optional>

#include "host/cli/arguments.h"
#include "host/cli/commands.h"
#include "host/cli/console.h"
#include "host/robot/description.h"
#include "host/robot/trial.h"

namespace korvel::host {

namespace {

struct InfoOptions {
  std::filesystem::path module = default_module();
  std::optional<std::filesystem::path> output;
  bool json = false;
  bool dot = false;
};

void info(const InfoOptions& options) {
  Outputs outputs = outputs_beside(options.module);
  Destination destination(options.output, outputs);
  const Robot robot = read_robot(*robot_of(tried_module(options.module)));
  const Identity module = identity(options.module);
  if (options.json) {
    destination.write(described_as_json(module, robot));
  } else {
    destination.write_text(options.dot ? described_as_dot(robot) : described_as_table(module, robot));
  }
  destination.commit();
}

}  // namespace

void add_info(CLI::App& app) {
  CLI::App* command = app.add_subcommand("info", "Describe the robot of a module and the conventions of its interface");
  const auto options = std::make_shared<InfoOptions>();
  add_module_option(*command, options->module);
  CLI::Option* json = command->add_flag("--json", options->json, "As JSON, with places and axes");
  command->add_flag("--dot", options->dot, "The tree of bodies for Graphviz")->excludes(json);
  add_output_option(*command, options->output);
  command->callback([options] { info(*options); });
}

}  // namespace korvel::host
