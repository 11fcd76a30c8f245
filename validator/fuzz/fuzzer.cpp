#include "validator/fuzz/fuzzer.h"

#include <fmt/format.h>

#include <cmath>
#include <limits>
#include <numeric>

#include "contract/bit_hash.h"

namespace korvel::validate {

namespace {

using namespace std::chrono_literals;
using QZ::Math::Transform;
using Limits = std::numeric_limits<float>;

}  // namespace

Fuzzer::Fuzzer(const host::Module& module, std::uint64_t seed, std::size_t object_count)
    : module_(module),
      random_(seed),
      pristine_(module.create()),
      total_mass_(pristine_.robot->getMass()),
      mass_roundings_(static_cast<long>(pristine_.robot->getNbBodies())) {
  for (unsigned long b = 0; b < pristine_.robot->getNbBodies(); ++b) masses_.push_back(pristine_.robot->getMass(b));
  for (std::size_t i = 0; i < object_count; ++i) objects_.emplace_back(copy(*pristine_.robot), pristine_.model, true);
  expect_total_mass(*pristine_.robot);
}

// ---- Arguments ------------------------------------------------------------------------------------------------------

/// Mostly an ordinary number; now and then one from the edges of the type.
float Fuzzer::value(float magnitude) {
  static constexpr std::array edges{0.0F,  -0.0F, Limits::denorm_min(), -Limits::min(),     1e6F,
                                    -1e9F, 1e30F, Limits::infinity(),   Limits::quiet_NaN()};
  return one_in(2048) ? edges[index(edges.size())] : random_(magnitude);
}

std::vector<float> Fuzzer::values(float magnitude, std::size_t at_least) {
  std::vector<float> all(at_least + (one_in(4) ? index(20) : 0));
  for (float& v : all) v = value(magnitude);
  return all;
}

unsigned long Fuzzer::no_body() {
  const unsigned long n = masses_.size();
  const std::array indices{n, n + 1, std::max(n, 255UL), 1UL << 31, ~0UL / 2, ~0UL - 1, ~0UL};
  return indices[index(indices.size())];
}

/// Any rotation, the poles of its angles included.
Transform Fuzzer::rigid_pose() {
  const float pole = one_in(2) ? 0x1.921fb6p+0F : -0x1.921fb6p+0F;
  QZ::Math::Position6D p(value(2), value(2), value(2), random_(4), random_(4), random_(4));
  if (one_in(16)) p.ay = pole;
  return QZ::Math::transformFromPosition6D(p);
}

// ---- Objects --------------------------------------------------------------------------------------------------------

host::System Fuzzer::copy(const tesk::RigidBodySystem& robot) const {
  return {robot.clone().release(), pristine_.robot.get_deleter()};
}

void Fuzzer::replace(Object& object, Object next) {
  if (one_in(8)) object.robot.get_deleter()(nullptr);
  // A clone may also be released by its pointer.
  if (object.is_clone && one_in(2)) delete object.robot.release();
  object = std::move(next);
}

void Fuzzer::create(Object& object) {
  replace(object, {module_.create(), pristine_.model, false});
  mass_roundings_ = static_cast<long>(masses_.size());
  largest_total_mass_ = 0;
  ++inertia_changes_;
  expect_total_mass(*object.robot);
}

void Fuzzer::change_mass(const tesk::RigidBodySystem& robot, unsigned long b, float mass) {
  masses_[b] = mass;
  mass_roundings_ += 2;
  ++inertia_changes_;
  expect_total_mass(robot);
}

// ---- Expectations ---------------------------------------------------------------------------------------------------

void Fuzzer::expect_unchanged(const Object& object) {
  read_everything(*object.robot, seen_);
  require_same(layout(), seen_, object.model.shown, done_.back().call);
}

float Fuzzer::sum_of_masses() const { return static_cast<float>(std::accumulate(masses_.begin(), masses_.end(), 0.0)); }

/// Expects the sum of the masses after they have changed, except for a rounding of each change, and keeps it.
void Fuzzer::expect_total_mass(const tesk::RigidBodySystem& robot) {
  const float sum = sum_of_masses();
  total_mass_ = robot.getMass();
  largest_total_mass_ = std::max(largest_total_mass_, total_mass_);
  const float bound = Limits::epsilon() * largest_total_mass_ * static_cast<float>(mass_roundings_);
  require(std::abs(total_mass_ - sum) <= bound, "the total mass is {}, the masses add up to {}", total_mass_, sum);
}

// ---- Calls ----------------------------------------------------------------------------------------------------------

void Fuzzer::call_once() {
  static const unsigned total_weight = std::accumulate(
      random_calls.begin(), random_calls.end(), 0U, [](unsigned sum, const RandomCall& c) { return sum + c.weight; });
  auto left = index(total_weight);
  auto call = random_calls.begin();
  while (left >= call->weight) left -= (call++)->weight;
  const std::size_t i = index(objects_.size());
  Object& object = objects_[i];
  done_.push_back({call->name, i});
  ++calls_;
  call->call(*this, object);
  expect_unchanged(object);
}

void Fuzzer::run(long calls) {
  try {
    for (const long end = calls_ + calls; calls_ < end;) {
      call_once();
      const bool all = calls_ % 16 == 0 || calls_ == end;
      if (all) {
        for (const Object& object : objects_) expect_unchanged(object);
      }
    }
    expect_unchanged(pristine_);
  } catch (const std::exception& error) {
    throw Finding(fmt::format("at call {}: {}; the last calls were{}", calls_, error.what(), last_calls()));
  }
}

std::string Fuzzer::last_calls() const {
  std::string text;
  for (const Done& done : done_) {
    text += fmt::format("{} {} (object {})", text.empty() ? ":" : ",", done.call, done.object);
  }
  return text;
}

void Fuzzer::expect_repeated(Object& object, const std::vector<Stretch>& written,
                             const std::function<void(tesk::RigidBodySystem&)>& repeat) {
  // `create` would change the total mass of all objects.
  const host::System again = copy(*pristine_.robot);
  repeat(*again);
  read_everything(*again, expected_);
  ++repeated_;
  for (const Stretch& stretch : written) {
    std::copy(expected_.begin() + stretch.first, expected_.begin() + stretch.last,
              object.model.shown.begin() + stretch.first);
  }
}

// ---- Checks --------------------------------------------------------------------------------------------------------

namespace {

template <std::size_t objects, long calls>
std::string fuzz(const Subject& subject) {
  Fuzzer fuzzer(host::Module(subject.module), subject.seed, objects);
  fuzzer.run(calls);
  return fmt::format("{} calls, {} results also computed by a fresh object, 0 surprises", calls, fuzzer.repeated());
}

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
      {"fuzz.short", "Setters, getters, computations, clones and shared masses do what is documented and nothing else.",
       fuzz<5, 50'000>, 60s, 2},
      {"fuzz.recorded-bits", "All results have the bits that were recorded for this version.", recorded_bits, 2min},
      {"fuzz.one-object", "Whatever is called, what should change changes and nothing else does.", fuzz<1, 5'000'000>,
       20min},
      {"fuzz.many-objects", "The same with objects that are cloned, destroyed, and share the inertias.",
       fuzz<5, 5'000'000>, 20min},
  };
}

}  // namespace korvel::validate
