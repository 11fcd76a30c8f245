#include <memory>
#include <optional>

#include "host/cli/arguments.h"
#include "host/cli/commands.h"
#include "host/cli/console.h"
#include "host/export/model.h"
#include "host/process/output_file.h"
#include "host/robot/module.h"
#include "motion/motion.h"

namespace korvel::host {

namespace {

struct ExportOptions {
  std::filesystem::path module = default_module();
  std::optional<std::filesystem::path> urdf, mjcf, soles, limits;
};

void export_robot(const ExportOptions& options) {
  if (!options.urdf && !options.mjcf) throw Error("export: name at least one output, --urdf FILE or --mjcf FILE");
  Outputs outputs = outputs_beside(options.module);
  if (options.soles) outputs.keep(*options.soles, "the soles");
  if (options.limits) outputs.keep(*options.limits, "the limits");
  std::optional<OutputFile> urdf;
  std::optional<OutputFile> mjcf;
  if (options.urdf) urdf.emplace(outputs.claim(*options.urdf));
  if (options.mjcf) mjcf.emplace(outputs.claim(*options.mjcf));
  // Each time the module is unloaded again: a fresh system has the inertias that the module comes with.
  const FreshSystem fresh = [&] { return make_system(Module(options.module)); };
  const Robot robot = read_robot(*fresh());
  std::vector<contact::Sole> soles;
  if (options.soles) soles = read_soles(*options.soles, body_names(*fresh()));
  std::vector<JointLimits> limits;
  if (options.limits) limits = read_limits(*options.limits, joint_names(*fresh()));
  const Inertias inertias = recover_inertias(fresh, robot);
  if (urdf) urdf->write(to_urdf(robot, inertias, limits));
  if (mjcf) mjcf->write(to_mjcf(robot, inertias, soles, limits));
  for (std::optional<OutputFile>* file : {&urdf, &mjcf}) {
    if (!*file) continue;
    (*file)->commit();
    show(wrote((*file)->path().named));
  }
}

}  // namespace

void add_export(CLI::App& app) {
  CLI::App* command = app.add_subcommand("export", "Write the robot as a model for ROS or MuJoCo");
  const auto options = std::make_shared<ExportOptions>();
  add_file_option(*command, "--urdf", options->urdf, "Write a model for ROS");
  CLI::Option* mjcf = add_file_option(*command, "--mjcf", options->mjcf, "Write a model for MuJoCo");
  add_file_option(*command, "--soles", options->soles, "Put the MuJoCo model on a floor, with these soles", "SOLES")
      ->needs(mjcf);
  add_file_option(*command, "--limits", options->limits,
                  "Give the joints these limits, and add motors to the MuJoCo model", "LIMITS");
  add_module_option(*command, options->module);
  command->footer(
      "Examples:\n  korvel-host export --urdf robot.urdf --mjcf robot.xml\n"
      "  korvel-host export --mjcf standing.xml --soles soles.csv");
  command->callback([options] { export_robot(*options); });
}

}  // namespace korvel::host
