/// Compares general libraries that have read the exported robot with the module.
///
///   korvel-cross-check MODULE [NAME]...
///
/// Prints a table with the largest deviation of each quantity in a thousand states. Fails if one is over the bound, or
/// if a library that is named is not in this program; without names, all that are.

#include <cstdio>
#include <set>

#include "bench/peers/peer.h"
#include "bench/program.h"

namespace {

using namespace korvel;

constexpr std::size_t state_count = 1000;
constexpr double bound = 2e-6;

bool run(const std::vector<std::string>& arguments) {
  if (arguments.empty()) throw std::invalid_argument("expected MODULE [NAME]...");
  const bench::LoadedInstants states = bench::seeded_instants(state_count);
  const auto reference = bench::module_peer(host::Module(arguments.front()), states);
  std::set<std::string> names(arguments.begin() + 1, arguments.end());
  if (names.empty()) {
    for (const auto& [name, entry] : bench::peers()) names.insert(name);
  }
  if (names.empty()) throw std::runtime_error("this program is without other libraries");
  std::printf("| library, file |");
  for (const char* quantity : bench::quantity_names) std::printf(" %s |", quantity);
  std::puts("\n| --- | --- | --- | --- | --- | --- | --- |");
  bool within = true;
  for (const std::string& name : names) {
    const auto found = bench::peers().find(name);
    if (found == bench::peers().end()) throw std::runtime_error(name + " is not in this program");
    const bench::PeerEntry& entry = found->second;
    for (const std::string& format : entry.formats) {
      const auto peer = entry.read(states, bench::exported_robot(format));
      std::printf("| %s %s, %s |", name.c_str(), entry.version.c_str(), format.c_str());
      for (const double deviation : bench::compare(*peer, *reference, state_count)) {
        std::printf(" %.1e |", deviation);
        within = within && deviation <= bound;
      }
      std::puts("");
    }
  }
  if (!within) std::cerr << "korvel-cross-check: a deviation is over " << bound << '\n';
  return within;
}

}  // namespace

int main(int argc, char** argv) { return korvel::bench::run_program(argc, argv, run); }
