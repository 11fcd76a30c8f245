#pragma once

#include <filesystem>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

#include "host/process/output_file.h"
#include "host/run/columns.h"

namespace korvel::host {

/// The path of the file that describes results: NAME.json beside NAME.csv.
std::filesystem::path description_path(const std::filesystem::path& results);

/// Describes a run, for a reader that has its results and not the module: `bodies` with `name`, `parent` (-1 for the
/// root), `mass` [kg], and at joint angles 0 in the root `rest`, the origin [m], and `axis`, that of the joint;
/// `joints` with `name` and the index of the `body` that they turn; `mass` [kg] and `weight` [N] of the robot; and if
/// the robot stands, `ground` with its `height` in the world [m], the `level` above its lowest corner up to which a
/// sole's corners are in contact [m], and `soles` with the index of their `body`, their `corners` in the body's frame
/// [m] and their `friction`; the caller adds the `summary` that GroundSummary::json_with_words makes. With limits
/// of the joints, the caller adds the `limits` that Summary::limits_json_with_words makes. For results of a recording,
/// the caller adds `gaps`: intervals `from` and `to` [s] with numbers that are not finite, and the `call` that brought
/// these.
///
/// `system` has its initial values, and gets stored poses that mean nothing.
nlohmann::json run_description(tesk::RigidBodySystem& system, const Ground* ground);

/// Results, and their description in a file beside them.
class ResultsFile {
 public:
  /// The paths of both files.
  struct Paths {
    OutputPath results, description;
  };
  /// Throws Error as Outputs::claim does, and if the description would replace a file that is none.
  static Paths claim(const std::filesystem::path& results, Outputs& outputs);

  /// Returns whether a description stands beside these results.
  static bool is_described(const std::filesystem::path& results);

  explicit ResultsFile(const Paths& paths) : paths_(paths), results_(paths.results) {}

  /// Returns the path as the user named it.
  const std::filesystem::path& path() const { return paths_.results.named; }

  /// Writes the row of a sample, below the header if it is the first one. Returns the name of the first column whose
  /// number is not finite, if there is one.
  [[nodiscard]] std::optional<std::string> add(const Sample& sample);
  /// Ends writing rows, as OutputFile::close does.
  void close() { results_.close(); }
  /// Writes the description, that of run_description.
  void describe(const nlohmann::json& description);
  /// Completes both files, the description first.
  void commit();

 private:
  Paths paths_;
  OutputFile results_;
  std::optional<OutputFile> description_;
  bool has_header_ = false;
};

}  // namespace korvel::host
