#include <functional>
#include <list>
#include <memory>
#include <optional>

#include "host/cli/commands.h"
#include "host/export/drawing.h"
#include "host/export/model.h"
#include "host/io/error.h"
#include "host/io/output_file.h"

namespace korvel::host {

namespace {

struct ExportOptions {
  std::filesystem::path module = default_module();
  std::optional<std::filesystem::path> urdf, mjcf, svg;
};

void export_robot(const ExportOptions& options) {
  const FreshSystem fresh = [&] { return Module(options.module).create(); };
  const Robot robot = read_robot(*fresh());
  std::list<OutputFile> files;
  const auto write = [&](const std::optional<std::filesystem::path>& path, const std::function<std::string()>& text) {
    if (path) files.emplace_back(*path).write(text());
  };
  write(options.svg, [&] { return to_svg(robot); });
  if (options.urdf || options.mjcf) {
    const Inertias inertias = recover_inertias(fresh, robot);
    write(options.urdf, [&] { return to_urdf(robot, inertias); });
    write(options.mjcf, [&] { return to_mjcf(robot, inertias); });
  }
  for (OutputFile& file : files) file.commit();
}

}  // namespace

void add_export(CLI::App& app) {
  CLI::App* command = app.add_subcommand("export", "Write the robot of a module as a model for other programs");
  const auto options = std::make_shared<ExportOptions>();
  CLI::Option_group* files = command->add_option_group("Files");
  files->add_option("--urdf", options->urdf, "A model for ROS and its relatives")->type_name("FILE");
  files->add_option("--mjcf", options->mjcf, "A model for MuJoCo")->type_name("FILE");
  files->add_option("--svg", options->svg, "A drawing of frames and joint axes at joint angles of zero")
      ->type_name("FILE");
  files->require_option(1, 3);
  add_module_option(*command, options->module);
  command->callback([options] { export_robot(*options); });
}

}  // namespace korvel::host
