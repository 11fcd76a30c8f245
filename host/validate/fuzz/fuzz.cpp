#include "host/validate/fuzz/fuzz.h"

#include <fmt/format.h>

#include "host/validate/core/check.h"
#include "host/validate/core/require.h"
#include "host/validate/fuzz/fuzzer.h"
#include "states/bit_hash.h"

namespace korvel::validate {

namespace {

using std::chrono::minutes;

std::string fuzz(const Subject& subject, std::size_t object_count) {
  Fuzzer fuzzer(host::Module(subject.module), subject.seed, object_count);
  fuzzer.run(5'000'000);
  return fmt::format("5,000,000 calls, {} results also computed by a fresh object, 0 surprises", fuzzer.repeated());
}

std::string one_object(const Subject& subject) { return fuzz(subject, 1); }

std::string many_objects(const Subject& subject) { return fuzz(subject, 5); }

std::string recorded_bits(const Subject& subject) {
  const host::System robot = create(subject);
  if (!has_recorded_bits(*robot)) throw NotPossible("not of this robot: the recorded bits are another's");
  const std::uint64_t hash = bit_hash(*robot);
  require(hash == recorded_bit_hash, "the hash is {:016x}, not {:016x}", hash, recorded_bit_hash);
  return fmt::format("{:016x} over 10,100 states", hash);
}

}  // namespace

Checks fuzz_checks() {
  return {
      {"fuzz.recorded-bits", "All results have the bits that were recorded for this version.", 5, minutes(2),
       recorded_bits},
      {"fuzz.one-object", "Whatever is called, what should change changes and nothing else does.", 5, minutes(20),
       one_object},
      {"fuzz.many-objects", "The same with objects that are cloned, destroyed, and share the inertias.", 5, minutes(20),
       many_objects},
  };
}

}  // namespace korvel::validate
