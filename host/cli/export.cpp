#include <functional>
#include <map>
#include <memory>
#include <optional>

#include "host/cli/arguments.h"
#include "host/cli/commands.h"
#include "host/export/drawing.h"
#include "host/export/model.h"
#include "host/ground/soles_file.h"
#include "host/io/output_file.h"
#include "host/robot/trial.h"

namespace korvel::host {

namespace {

struct ExportOptions {
  std::filesystem::path module = default_module();
  std::optional<std::filesystem::path> urdf, mjcf, svg, soles;
};

std::vector<contact::Sole> soles_of(const ExportOptions& options, const Robot& robot) {
  if (!options.soles) return {};
  std::vector<std::string> names;
  for (const Body& body : robot.bodies) names.push_back(body.name);
  return read_soles(*options.soles, names);
}

void export_robot(const ExportOptions& options) {
  Outputs outputs = outputs_beside(options.module);
  if (options.soles) outputs.keep(*options.soles, "the soles");
  std::map<const std::optional<std::filesystem::path>*, OutputFile> files;
  for (const auto* path : {&options.urdf, &options.mjcf, &options.svg}) {
    if (*path) files.try_emplace(path, outputs.claim(**path));
  }
  // The module is unloaded again: a fresh system has the inertias that the module comes with.
  const Robot robot = read_robot(*robot_of(tried_module(options.module)));
  const std::vector<contact::Sole> soles = soles_of(options, robot);
  const FreshSystem fresh = [&] { return robot_of(Module(options.module)); };
  const auto write = [&](const std::optional<std::filesystem::path>& path, const std::function<std::string()>& text) {
    if (path) files.at(&path).write(text());
  };
  write(options.svg, [&] { return to_svg(robot); });
  if (options.urdf || options.mjcf) {
    const Inertias inertias = recover_inertias(fresh, robot);
    write(options.urdf, [&] { return to_urdf(robot, inertias); });
    write(options.mjcf, [&] { return to_mjcf(robot, inertias, soles); });
  }
  for (auto& [path, file] : files) file.commit();
}

}  // namespace

void add_export(CLI::App& app) {
  CLI::App* command = app.add_subcommand("export", "Write the robot of a module as a model for other programs");
  const auto options = std::make_shared<ExportOptions>();
  CLI::Option_group* files = command->add_option_group("Files");
  files->add_option("--urdf", options->urdf, "A model for ROS and its relatives")->type_name("FILE");
  CLI::Option* mjcf = files->add_option("--mjcf", options->mjcf, "A model for MuJoCo")->type_name("FILE");
  files->add_option("--svg", options->svg, "A drawing of frames and joint axes at joint angles of zero")
      ->type_name("FILE");
  files->require_option(1, 3);
  command->add_option("--soles", options->soles, "Stand the model for MuJoCo on the ground with these soles")
      ->type_name("SOLES")
      ->needs(mjcf);
  add_module_option(*command, options->module);
  command->callback([options] { export_robot(*options); });
}

}  // namespace korvel::host
