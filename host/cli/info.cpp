#include <memory>
#include <optional>

#include "host/cli/arguments.h"
#include "host/cli/commands.h"
#include "host/cli/console.h"
#include "host/robot/description.h"
#include "host/robot/module.h"

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
  const Robot robot = read_robot(*make_system(Module(options.module)));
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
  CLI::App* command = app.add_subcommand("info", "Describe the robot and the interface's conventions");
  const auto options = std::make_shared<InfoOptions>();
  add_module_option(*command, options->module);
  CLI::Option* json = command->add_flag("--json", options->json, "Print JSON, with the origin and axes of every frame");
  command->add_flag("--dot", options->dot, "Print the tree of bodies in Graphviz format")->excludes(json);
  add_output_option(*command, options->output);
  command->footer("Examples:\n  korvel-host info\n  korvel-host info --json -o robot.json");
  command->callback([options] { info(*options); });
}

}  // namespace korvel::host
