#pragma once

#include <array>
#include <cstddef>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "recorder/replay/recording_file.h"

namespace korvel::host {

struct RecordedSource;
using Source = std::shared_ptr<const RecordedSource>;

/// A call, and the calls whose results it reads.
struct RecordedSource {
  std::size_t order;
  recording::RecordHeader header;
  std::string values;  ///< arguments, and the result in full
  std::set<Source> sources;
  /// The calls that have changed the sum of masses since it was last summed, if the call reads the sum. All calls share
  /// one list, which only becomes longer; the first `mass_change_count` belong to this call.
  std::shared_ptr<std::vector<Source>> mass_changes;
  std::size_t mass_change_count;
};

/// Tracks which values that calls leave behind for others are known, and which calls they come from. Follows the calls
/// of a recording without a module. Values are unknown where calls are missing, until they are set or computed anew.
class Provenance {
 public:
  /// Steps of a player: make an object, copy one, end one, or call one. It refuses a call that the contract does
  /// not allow, and one that did not return.
  enum class Step { none, make, copy, end, perform, refuse };
  /// Classification of a call before it is performed.
  struct Followed {
    Step step;
    std::uint32_t lost = 0;    ///< calls of the object that are missing before this one
    bool is_known = false;     ///< all values that the call reads
    bool reads_early = false;  ///< the call reads a result that was not computed since the object was made
  };

  /// A recording that was cut has at most this many objects more at a time than blocks. In others, each object that has
  /// been called has a block to itself.
  static constexpr std::size_t more_objects = 64;

  /// Sources are kept for a cut; they need memory for every call that a value comes from.
  explicit Provenance(const RecordingFile& recording, bool keeps_sources = false);

  /// Follows the next call. Throws Error if there are more objects at a time than a recorder would have recorded.
  Followed follow(const RecordedCall& call);
  /// The same for a call that is performed although the recording says that it did not return.
  void perform(const RecordedCall& call);

  bool knows_total_mass() const { return knows_all(Resource::total_mass); }
  void know_total_mass() { know(Resource::total_mass, true); }
  /// Returns the number of gaps in the calls of objects.
  std::size_t gaps() const { return gaps_; }
  /// The last call that was performed.
  const Source& last() const { return last_; }
  /// An object whose inputs are known, and the calls that set them and the inertias last, in the order of time.
  struct Known {
    std::uint32_t object, next_call;
    std::vector<Source> setters;
  };
  /// Returns these objects, if sources are kept.
  std::vector<Known> known_objects() const;

 private:
  struct Value {
    bool is_known = false;
    bool is_written = false;  ///< by a call
    Source source = {};
  };
  /// The values by resource: one, or one for each body, joint or frame. Those of inertias and of their sum are the
  /// module's.
  using Values = std::array<std::vector<Value>, resource_kinds>;
  struct Object {
    Values values;
    std::uint32_t next_call = 1;
    std::uint32_t lost = 0;  ///< calls that were not reported yet
    bool takes_restated = false;
    bool is_overlapped = false;
  };

  Object& hold(std::uint32_t number, Object object);
  Object& object_of(const RecordedCall& call);
  void lose(Object& object, std::uint32_t next_call);
  Step make(const RecordedCall& call);
  Step restate(const RecordedCall& call);
  /// Keeps the arguments of setBodyInertia; false if they are those of the last one for that body.
  bool keep_inertia(const RecordedCall& call);
  void follow_shared(const RecordedCall& call);
  void know(Resource of_module, bool known);
  bool knows_all(Resource of_module) const;
  bool knows(Object& object, Resources kinds, const RecordedCall& call);
  bool is_allowed(const RecordedCall& call) const;
  void write(Object& object, const RecordedCall& call, bool is_performed);
  Values new_values(bool known) const;
  /// Calls `each` with the values of an object and of the module that a call reads or writes.
  template <typename Each>
  void for_each_value(Object& object, Resources kinds, const RecordedCall& call, const Each& each);
  Source source(Object* reader, const RecordedCall& call);

  const RecordingFile& recording_;
  bool keeps_sources_;
  std::map<std::uint32_t, Object> objects_;
  Values module_;
  std::vector<std::string> inertias_;  ///< the last arguments, by body
  std::uint16_t shared_changes_ = 0;
  bool takes_inertias_ = false;  ///< that are restated
  std::size_t gaps_ = 0;
  std::size_t next_order_ = 0;
  std::shared_ptr<std::vector<Source>> mass_changes_ = std::make_shared<std::vector<Source>>();
  Source last_;
};

/// Returns the object that a call clones.
std::uint32_t cloned_object(const RecordedCall& call);

}  // namespace korvel::host
