/// Prints one hash over everything that a module computes for 10,100 states. Usage: bits MODULE, a path with a slash.

#include <cinttypes>
#include <cstdio>

#include "contract/bit_hash.h"
#include "support/module.h"

int main(int argc, char** argv) try {
  using namespace korvel;
  if (argc != 2) throw std::invalid_argument("usage: bits MODULE");
  const tests::Module module(argv[1]);
  std::printf("%016" PRIx64 "\n", bit_hash(*module.create()));
  return 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "bits: %s\n", error.what());
  return 1;
}
