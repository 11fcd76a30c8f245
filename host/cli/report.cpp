#include <boost/algorithm/string/replace.hpp>
#include <fstream>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>

#include "host/cli/arguments.h"
#include "host/cli/commands.h"
#include "host/cli/console.h"
#include "host/process/output_file.h"
#include "host/report/report_data.h"
#include "host/run/results_file.h"
#include "motion/csv/error.h"

namespace korvel::host {

namespace {

struct ReportOptions {
  std::filesystem::path results;
  std::optional<std::filesystem::path> other;
  std::filesystem::path page;
};

/// The text of the template that the data replace.
constexpr std::string_view placeholder = "@KORVEL_REPORT_DATA@";

std::string read_template() {
  const std::filesystem::path path = report_template();
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  if (text.str().find(placeholder) == std::string::npos) {
    throw Error("{}: expected a page with a place for the data, found none", path.string());
  }
  return text.str();
}

/// Text for a script element of a page: no `<` that could end it. Names that are not UTF-8 lose what cannot be shown.
std::string script_text(const nlohmann::json& data) {
  constexpr bool ascii = true;
  return boost::replace_all_copy(data.dump(-1, ' ', ascii, nlohmann::json::error_handler_t::replace), "<", "\\u003c");
}

void report(const ReportOptions& options) {
  Outputs outputs = outputs_beside(default_module());
  for (const std::filesystem::path& results : {options.results, options.other.value_or(options.results)}) {
    outputs.keep(results, "the results");
    outputs.keep(description_path(results), "the description of the results");
  }
  OutputFile page(outputs.claim(options.page));
  write_page(options.results, options.other, page);
  show(wrote(options.page));
}

const char* const not_built = "report: its page was not built, install nodejs and npm and build korvel again";

}  // namespace

void require_report_template() {
  if (!std::filesystem::exists(report_template())) throw Error(not_built);
}

void write_page(const std::filesystem::path& results, const std::optional<std::filesystem::path>& other,
                OutputFile& page) {
  const std::string empty = read_template();
  nlohmann::json all = report_data(results);
  if (other) all["other"] = report_data(*other);
  page.write(boost::replace_first_copy(empty, placeholder, script_text(all)));
  page.commit();
}

void add_report(CLI::App& app) {
  CLI::App* command = app.add_subcommand("report", "Write an HTML page that shows the results of a motion");
  if (!std::filesystem::exists(report_template())) {
    // Help does not list the command. A user who gives it all the same learns what is missing, whatever the arguments.
    command->description(not_built);
    command->group("")->allow_extras()->callback([] { throw Error(not_built); });
    return;
  }
  command->footer(
      R"(RESULTS is a file of 'korvel-host run', with its NAME.json beside it. The page
shows the verdict, the figure, and the curves and peaks of the torques. For a
robot on the ground it also shows the ground forces, the zero moment point and
the support polygon. The figure and the curves of OTHER are drawn over those of
RESULTS. The page works offline.

Examples:
  korvel-host report squat-results.csv -o squat.html
  korvel-host report a-results.csv b-results.csv -o compared.html)");
  const auto options = std::make_shared<ReportOptions>();
  command->add_option("RESULTS", options->results, "Results file of korvel-host run")->required();
  command->add_option("OTHER", options->other, "Second results file, drawn over the first");
  add_file_option(*command, "-o,--output", options->page, "Write the page to this file", "PAGE")->required();
  command->callback([options] { report(*options); });
}

}  // namespace korvel::host
