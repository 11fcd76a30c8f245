#include <fmt/format.h>

#include <fstream>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "host/cli/arguments.h"
#include "host/cli/commands.h"
#include "host/ground/soles_file.h"
#include "host/io/error.h"
#include "host/io/output_file.h"
#include "host/report/report_data.h"
#include "host/robot/robot.h"
#include "host/robot/trial.h"

namespace korvel::host {

namespace {

struct ReportOptions {
  std::filesystem::path module = default_module();
  std::filesystem::path results;
  std::optional<std::filesystem::path> other;
  std::optional<std::filesystem::path> soles;
  std::optional<double> ground_height;
  double contact_height = ReportGround{}.level;
  std::filesystem::path page;
};

/// Where the data go in the template.
constexpr std::string_view placeholder = "@KORVEL_REPORT_DATA@";

std::string read_template() {
  const std::filesystem::path path = report_template();
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  if (text.str().find(placeholder) == std::string::npos) {
    throw Error(fmt::format("{}: expected a page with a place for the data, found none", path.string()));
  }
  return text.str();
}

/// Text for a script element of a page: no `<` that could end it. Names that are not UTF-8 lose what cannot be shown.
std::string script_text(const nlohmann::json& data) {
  constexpr bool ascii = true;
  const std::string text = data.dump(-1, ' ', ascii, nlohmann::json::error_handler_t::replace);
  std::string escaped;
  escaped.reserve(text.size());
  for (const char c : text) {
    if (c == '<') {
      escaped += "\\u003c";
    } else {
      escaped += c;
    }
  }
  return escaped;
}

nlohmann::json page_data(const ReportOptions& options, const tesk::RigidBodySystem& system) {
  ReportGround ground;
  ground.height = options.ground_height;
  ground.level = options.contact_height;
  if (options.soles) ground.soles = read_soles(*options.soles, body_names(system));
  nlohmann::json data = report_data(options.results, system, ground);
  if (options.other) data["other"] = report_data(*options.other, system, {}, Detail::curves);
  return data;
}

void report(const ReportOptions& options) {
  Outputs outputs = outputs_beside(options.module);
  outputs.keep(options.results, "the results");
  if (options.other) outputs.keep(*options.other, "the results");
  if (options.soles) outputs.keep(*options.soles, "the soles");
  OutputFile output(outputs.claim(options.page));
  const std::string page = read_template();
  const System system = robot_of(tried_module(options.module));
  // All angles are 0: the poses in the root are those at rest.
  system->computeFwdKinematics();
  const std::string data = script_text(page_data(options, *system));

  const std::string_view text = page;
  const std::size_t place = text.find(placeholder);
  output.write(text.substr(0, place));
  output.write(data);
  output.write(text.substr(place + placeholder.size()));
  output.commit();
}

}  // namespace

void add_report(CLI::App& app) {
  CLI::App* command = app.add_subcommand("report", "One page that shows the results of a motion in any browser");
  if (!std::filesystem::exists(report_template())) {
    // Not offered, and whoever knows it learns what is missing, whatever the arguments.
    const std::string missing = "report: its page was not built, install nodejs and npm and build korvel again";
    command->description(missing);
    command->group("")->allow_extras()->callback([missing] { throw Error(missing); });
    return;
  }
  command->footer(
      R"(RESULTS is a file that 'korvel-host run' wrote. The page has the figure of the bodies in motion, the curves
of the torques and of the centre of mass, and the peak torques; of a run with soles also the forces at the
feet, the zero moment point, its margin, and the spans that the ground cannot bear. The curves of OTHER, a
second file, are drawn over those of the first. It opens from disk and needs no network.)");
  const auto options = std::make_shared<ReportOptions>();
  command->add_option("RESULTS", options->results, "Results file")->required();
  command->add_option("OTHER", options->other, "A second one, to compare");
  CLI::Option* soles =
      command
          ->add_option("--soles", options->soles,
                       "Soles of the run: also shows them and the support polygon, as the first file has them")
          ->type_name("SOLES");
  command
      ->add_option("--contact-height", options->contact_height,
                   "Of the run: corners of a sole bear up to this above its lowest one [m]")
      ->needs(soles)
      ->check(positive_number())
      ->capture_default_str();
  command
      ->add_option("--ground", options->ground_height,
                   "Height of the ground in the world [m]; by default 0, or the lowest point where that is far")
      ->type_name("Z")
      ->check(any_number());
  command->add_option("-o,--output", options->page, "Page to write")->type_name("PAGE")->required();
  add_module_option(*command, options->module);
  command->callback([options] { report(*options); });
}

}  // namespace korvel::host
