/// Holds general libraries that have read the exported robot to the module.
///
///   korvel-cross-check MODULE [NAME]...
///
/// Prints a table with the largest deviation of each quantity in a thousand states. Fails if one is over the bound, or
/// if a library that is named is not in this program; without names, all that are.

#include <algorithm>
#include <cstdio>
#include <map>

#include "bench/peers/module_peer.h"
#include "bench/program.h"

namespace {

using namespace korvel;

constexpr std::size_t state_count = 1000;
constexpr double bound = 2e-6;
constexpr const char* quantities[] = {"masses", "poses", "centre of mass", "jacobian", "mass matrix", "torques"};

/// Returns whether all is within the bound.
bool print_row(const std::string& name, bench::Peer& peer, bench::Peer& reference) {
  std::map<std::string, double> largest;
  bool within = true;
  bench::compare(peer, reference, state_count, [&](const char* quantity, std::size_t, double deviation) {
    // NaN counts as over the bound.
    within = within && deviation <= bound;
    double& so_far = largest[quantity];
    if (!(deviation <= so_far)) so_far = deviation;
  });
  std::printf("| %s |", name.c_str());
  for (const char* quantity : quantities) std::printf(" %.1e |", largest.at(quantity));
  std::puts("");
  return within;
}

std::vector<bench::PeerEntry> chosen(const std::vector<std::string>& names) {
  std::vector<bench::PeerEntry> entries = bench::peers();
  if (!names.empty()) {
    entries.clear();
    for (const std::string& name : names) {
      const auto found = std::find_if(bench::peers().begin(), bench::peers().end(),
                                      [&](const bench::PeerEntry& entry) { return entry.name == name; });
      if (found == bench::peers().end()) throw std::runtime_error(name + " is not in this program");
      entries.push_back(*found);
    }
  }
  if (entries.empty()) throw std::runtime_error("this program is without other libraries");
  std::sort(entries.begin(), entries.end(), [](const auto& a, const auto& b) { return a.name < b.name; });
  return entries;
}

bool run(const std::vector<std::string>& arguments) {
  if (arguments.empty()) throw std::invalid_argument("expected MODULE [NAME]...");
  const bench::LoadedInstants states = bench::seeded_instants(state_count);
  bench::ModulePeer reference(host::Module(arguments.front()), states);
  std::printf("| library, file |");
  for (const char* quantity : quantities) std::printf(" %s |", quantity);
  std::puts("\n| --- | --- | --- | --- | --- | --- | --- |");
  bool within = true;
  for (const bench::PeerEntry& entry : chosen({arguments.begin() + 1, arguments.end()})) {
    for (const std::string& format : entry.formats) {
      const auto peer = entry.read(states, bench::exported_robot(format));
      within = print_row(entry.name + ' ' + entry.version + ", " + format, *peer, reference) && within;
    }
  }
  if (!within) std::cerr << "korvel-cross-check: a deviation is over " << bound << '\n';
  return within;
}

}  // namespace

int main(int argc, char** argv) { return korvel::bench::run_program(argc, argv, run); }
