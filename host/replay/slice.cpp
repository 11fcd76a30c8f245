#include "host/replay/slice.h"

#include <algorithm>
#include <cstring>
#include <set>
#include <string_view>

#include "recording/hash.h"

namespace korvel::host {

namespace {

using recording::block_size;
using recording::BlockHeader;
using recording::FileHeader;
using recording::Operation;
using recording::RecordHeader;
using recording::Resource;

std::string bytes_of(const void* value, std::size_t size) { return {static_cast<const char*>(value), size}; }

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

Slicer::Slicer(const RecordingFile& recording)
    : recording_(recording), places_(recording.size()), module_(places_.of_module()) {}

std::vector<Slicer::Source>& Slicer::object(std::uint32_t number) {
  return objects_.try_emplace(number, places_.of_object()).first->second;
}

std::shared_ptr<Slicer::Node> Slicer::node(const RecordedCall& call, std::vector<Source> sources) {
  RecordHeader header = call.header;
  header.flags &= static_cast<std::uint16_t>(~recording::restated);
  std::string record = bytes_of(&header, sizeof(header));
  record.append(call.arguments, header.size - sizeof(header));
  return std::make_shared<Node>(Node{next_++, header.object, std::move(record), std::move(sources), {}, 0});
}

void Slicer::lost(std::uint32_t number) {
  std::vector<Source>& sources = object(number);
  std::fill(sources.begin(), sources.end(), nullptr);
}

void Slicer::made(const RecordedCall& call) {
  lost(call.header.object);
  mass_changes_ = std::make_shared<std::vector<Source>>(1, node(call, {}));
}

void Slicer::cloned(const RecordedCall& call, std::uint32_t source) {
  std::vector<Source> sources = object(source);
  object(call.header.object) = std::move(sources);
}

void Slicer::ended(std::uint32_t number) { objects_.erase(number); }

void Slicer::performed(const RecordedCall& call) {
  std::vector<Source>& of_object = object(call.header.object);
  std::vector<Source> sources;
  const auto place_of = [&](std::size_t place) -> Source& {
    return places_.is_of_object(place) ? of_object[place] : module_[place - places_.of_object()];
  };
  places_.for_each(call.operation.reads, call, [&](std::size_t place) {
    if (const Source& source = place_of(place)) sources.push_back(source);
  });
  std::sort(sources.begin(), sources.end());
  sources.erase(std::unique(sources.begin(), sources.end()), sources.end());
  const std::shared_ptr<Node> performed = node(call, std::move(sources));
  if ((call.operation.reads & bit(Resource::total_mass)) != 0) {
    performed->mass_changes = mass_changes_;
    performed->mass_change_count = mass_changes_->size();
  }
  last_ = performed;
  places_.for_each(call.operation.writes, call, [&](std::size_t place) { place_of(place) = last_; });
  if (call.header.operation == static_cast<std::uint16_t>(Operation::setBodyInertia)) mass_changes_->push_back(last_);
}

std::size_t Slicer::write(OutputFile& file) const {
  // All that it comes from, in the order in which it was called.
  const auto earlier = [](const Source& a, const Source& b) { return a->order < b->order; };
  std::set<Source, decltype(earlier)> calls(earlier);
  std::vector<Source> open{last_};
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
  const auto add = [&](std::string record, std::uint32_t object, std::uint32_t call) {
    RecordHeader header;
    std::memcpy(&header, record.data(), sizeof(header));
    header.object = object;
    header.call = call;
    header.shared_changes = shared_changes;
    const auto operation = static_cast<Operation>(header.operation);
    if (operation == Operation::create || operation == Operation::setBodyInertia) ++shared_changes;
    std::memcpy(record.data(), &header, sizeof(header));
    if (blocks.back().size() + record.size() > recording::records_per_block) blocks.emplace_back();
    blocks.back() += record;
  };
  RecordHeader create{};
  std::memcpy(&create, (*calls.begin())->record.data(), sizeof(create));
  create.size = sizeof(create);
  create.operation = static_cast<std::uint16_t>(Operation::create);
  create.flags = 0;
  create.took = 0;
  create.result = 0;
  add(bytes_of(&create, sizeof(create)), only, ++number);
  std::uint32_t others = only;
  for (const Source& call : calls) {
    RecordHeader header;
    std::memcpy(&header, call->record.data(), sizeof(header));
    // Another object that was made, and had the masses summed.
    const bool makes = header.operation == static_cast<std::uint16_t>(Operation::create);
    add(call->record, makes ? ++others : only, makes ? 1 : ++number);
  }

  FileHeader header = recording_.header();
  header.lost = header.overlapped = 0;
  header.ended = block_size * (1 + blocks.size());
  std::string first = bytes_of(&header, sizeof(header)) + recording_.description();
  first.resize(block_size);
  file.write(first);
  for (std::size_t i = 0; i < blocks.size(); ++i) file.write(block_of(i + 1, blocks[i]));
  return calls.size();
}

}  // namespace korvel::host
