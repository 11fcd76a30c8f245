#include "recorder/replay/slice.h"

#include <algorithm>
#include <cstring>
#include <set>
#include <string_view>

#include "recorder/format/hash.h"

namespace korvel::host {

namespace {

using recording::block_size;
using recording::BlockHeader;
using recording::FileHeader;
using recording::RecordHeader;

std::string bytes_of(const void* value, std::size_t size) { return {static_cast<const char*>(value), size}; }

constexpr std::uint16_t number_of(Operation operation) { return static_cast<std::uint16_t>(operation); }
bool is_create(const RecordHeader& header) { return header.operation == number_of(operation_of<&::create>); }

std::string block_of(std::uint64_t number, const std::string& records) {
  RecordHeader first;
  std::memcpy(&first, records.data(), sizeof(first));
  BlockHeader header{};
  header.magic = recording::block_magic;
  header.stream = 1;
  header.number = number;
  header.ticks = first.ticks;
  header.complete = header.begun = records.size();
  header.check[0] = {records.size(), recording::checksum(header, records.data(), records.size())};
  std::string block = bytes_of(&header, sizeof(header)) + records;
  block.resize(block_size);
  return block;
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
  std::vector<std::string> blocks{{}};
  std::uint32_t number = 0;
  std::uint16_t shared_changes = 0;
  const auto add = [&](RecordHeader header, const std::string& values, std::uint32_t object, std::uint32_t call) {
    header.object = object;
    header.call = call;
    header.shared_changes = shared_changes;
    if (is_create(header) || header.operation == number_of(operation_of<&Interface::setBodyInertia>)) ++shared_changes;
    if (blocks.back().size() + header.size > recording::records_per_block) blocks.emplace_back();
    blocks.back() += bytes_of(&header, sizeof(header)) + values;
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

  FileHeader header = recording.header();
  header.lost = header.overlapped = 0;
  header.version = recording::format_version;
  header.ended = block_size * (1 + blocks.size());
  header.blocks = header.last_block = blocks.size();
  recording::seal(header);
  std::string first = bytes_of(&header, sizeof(header)) + recording.description();
  first.resize(block_size);
  file.write(first);
  for (std::size_t i = 0; i < blocks.size(); ++i) file.write(block_of(i + 1, blocks[i]));
  return calls.size();
}

}  // namespace korvel::host
