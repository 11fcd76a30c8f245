#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "host/io/output_file.h"
#include "host/replay/player.h"

namespace korvel::host {

/// Knows, while calls are played, which of them each result comes from: the last that set its inputs, the computations
/// in between.
class Slicer : public PlayObserver {
 public:
  explicit Slicer(const RecordingFile& recording);

  void lost(std::uint32_t object) override;
  void made(const RecordedCall& call) override;
  void cloned(const RecordedCall& call, std::uint32_t source) override;
  void ended(std::uint32_t object) override;
  void performed(const RecordedCall& call) override;

  /// Writes a recording of one object with the last call that was performed, and those that it comes from. Returns how
  /// many calls that are. Throws Error.
  std::size_t write(OutputFile& file) const;

 private:
  struct Node;
  using Source = std::shared_ptr<const Node>;
  /// What has changed the sum of masses since it was last summed. Only ever gets longer, so that all share it.
  using Changes = std::shared_ptr<std::vector<Source>>;
  /// A call and where what it reads comes from.
  struct Node {
    std::size_t order;
    std::uint32_t object;
    std::string record;
    std::vector<Source> sources;
    Changes mass_changes;               ///< if it reads the sum of masses
    std::size_t mass_change_count = 0;  ///< that there were
  };

  std::vector<Source>& object(std::uint32_t number);
  std::shared_ptr<Node> node(const RecordedCall& call, std::vector<Source> sources);

  const RecordingFile& recording_;
  ResourcePlaces places_;
  std::size_t next_ = 0;
  std::map<std::uint32_t, std::vector<Source>> objects_;  ///< by place
  std::vector<Source> module_;
  Changes mass_changes_ = std::make_shared<std::vector<Source>>();
  Source last_;
};

}  // namespace korvel::host
