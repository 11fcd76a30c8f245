#include <algorithm>
#include <cstring>
#include <optional>
#include <set>
#include <string_view>

#include "recorder/format/hash.h"
#include "recorder/replay/playback.h"

namespace korvel::host {

namespace {

using recording::block_size;
using recording::BlockHeader;
using recording::FileHeader;
using recording::RecordHeader;

constexpr std::uint16_t number_of(Operation operation) { return static_cast<std::uint16_t>(operation); }
bool is_create(const RecordHeader& header) { return header.operation == number_of(operation_of<&::create>); }

/// The blocks of a recording that is written anew, in one stream.
class Blocks {
 public:
  void add(const RecordHeader& header, std::string_view values) {
    if (header.operation == number_of(operation_of<&::destroy>)) {
      objects_.erase(header.object);
    } else {
      objects_.insert(header.object);
    }
    const bool is_full = blocks_.back().size() + header.size > recording::records_per_block;
    if (is_full || objects_.size() > blocks_.size() + Provenance::more_objects) blocks_.emplace_back();
    blocks_.back() += bytes_in(header);
    blocks_.back() += values;
  }

  void write(const RecordingFile& recording, OutputFile& file) const {
    FileHeader header = recording.header();
    header.lost = header.overlapped = 0;
    header.version = recording::format_version;
    header.ended = block_size * (1 + blocks_.size());
    header.blocks = blocks_.size();
    header.last_block = std::max<std::uint64_t>(header.blocks, recording.last_block());
    recording::seal(header);
    std::string first = std::string(bytes_in(header)) + recording.description();
    first.resize(block_size);
    file.write(first);
    for (std::size_t i = 0; i < blocks_.size(); ++i) file.write(block_of(i + 1, blocks_[i]));
  }

 private:
  static std::string block_of(std::uint64_t number, const std::string& records) {
    RecordHeader first;
    std::memcpy(&first, records.data(), sizeof(first));
    BlockHeader header{};
    header.magic = recording::block_magic;
    header.stream = 1;
    header.number = number;
    header.ticks = first.ticks;
    header.complete = header.begun = records.size();
    header.check[0] = {records.size(), recording::checksum(header, records.data(), records.size())};
    std::string block = std::string(bytes_in(header)) + records;
    block.resize(block_size);
    return block;
  }

  std::vector<std::string> blocks_{{}};
  std::set<std::uint32_t> objects_;  ///< that have not ended
};

/// Adds the records with which the recorder begins a block of an object before a call.
void add_restated(const Provenance::Known& known, const RecordHeader& next, std::optional<float> total_mass,
                  Blocks& blocks) {
  RecordHeader header{};
  header.size = sizeof(header);
  header.operation = number_of(operation_of<&::create>);
  header.flags = recording::restated;
  header.object = known.object;
  header.call = known.next_call;
  header.shared_changes = next.shared_changes;
  header.ticks = next.ticks;
  blocks.add(header, {});
  for (const Source& setter : known.setters) {
    RecordHeader input = header;
    input.size = setter->header.size;
    input.operation = setter->header.operation;
    input.flags |= setter->header.flags;
    blocks.add(input, setter->values);
  }
  if (!total_mass) return;
  header.operation = number_of(operation_of<mass_of_robot>);
  header.flags |= recording::has_result;
  header.result = recording::result_word(recording::NumberType::real, &*total_mass, sizeof(*total_mass));
  blocks.add(header, {});
}

}  // namespace

std::size_t write_slice(const RecordingFile& recording, const Source& last, OutputFile& file) {
  // All that it comes from, in the order in which it was called.
  const auto earlier = [](const Source& a, const Source& b) { return a->order < b->order; };
  std::set<Source, decltype(earlier)> calls(earlier);
  std::vector<Source> open{last};
  while (!open.empty()) {
    const Source next = open.back();
    open.pop_back();
    if (!calls.insert(next).second) continue;
    open.insert(open.end(), next->sources.begin(), next->sources.end());
    if (next->mass_changes == nullptr) continue;
    const auto first = next->mass_changes->begin();
    open.insert(open.end(), first, first + static_cast<std::ptrdiff_t>(next->mass_change_count));
  }

  // One object does what several have done: each has what it needs from those it was cloned from.
  constexpr std::uint32_t only = 1;
  Blocks blocks;
  std::uint32_t number = 0;
  std::uint16_t shared_changes = 0;
  const auto add = [&](RecordHeader header, const std::string& values, std::uint32_t object, std::uint32_t call) {
    header.object = object;
    header.call = call;
    header.shared_changes = shared_changes;
    if (is_create(header) || header.operation == number_of(operation_of<&Interface::setBodyInertia>)) ++shared_changes;
    blocks.add(header, values);
  };
  RecordHeader create = (*calls.begin())->header;
  create.size = sizeof(create);
  create.operation = number_of(operation_of<&::create>);
  create.flags = 0;
  create.took = 0;
  create.result = 0;
  add(create, {}, only, ++number);
  std::uint32_t others = only;
  for (const Source& call : calls) {
    // Another object that was made, and had the masses summed.
    const bool makes = is_create(call->header);
    add(call->header, call->values, makes ? ++others : only, makes ? 1 : ++number);
  }

  blocks.write(recording, file);
  return calls.size();
}

std::size_t write_window(const RecordingFile& recording, const Module& module, const Window& window, OutputFile& file) {
  constexpr bool keeps_sources = true;
  Player player(recording, module, keeps_sources);
  Blocks blocks;
  bool begun = false;
  std::size_t calls = 0;
  for_each_call(recording, window, [&](const RecordedCall& call, bool is_within) {
    if (!is_within) {
      player.play(call, false);
      return;
    }
    if (!begun) {
      const bool knows_mass = player.provenance().knows_total_mass();
      const auto total_mass = knows_mass ? std::optional(player.total_mass()) : std::nullopt;
      for (const Provenance::Known& known : player.provenance().known_objects()) {
        add_restated(known, call.header, total_mass, blocks);
      }
    }
    begun = true;
    calls += call.has(recording::restated) ? 0U : 1U;
    blocks.add(call.header, {call.arguments, call.header.size - sizeof(call.header)});
  });
  if (!begun) throw none_in(recording, window, "call");
  blocks.write(recording, file);
  return calls;
}

}  // namespace korvel::host
