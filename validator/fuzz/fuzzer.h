#pragma once

#include <algorithm>
#include <boost/circular_buffer.hpp>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "contract/shown.h"
#include "contract/states.h"
#include "host/robot/module.h"
#include "validator/core/check.h"
#include "validator/fuzz/object_model.h"

namespace korvel::validate {

/// Calls a module at random and knows what must come of each call.
///
/// Values that a setter stores must read back to the bit. Values that a computation writes must be, to the bit, what a
/// fresh object with the same inputs and the same past computations writes. All else that any object shows must stay.
class Fuzzer {
 public:
  struct Object {
    /// Shows its initial values.
    explicit Object(host::System made) : robot(std::move(made)), model(*robot), is_clone(false) {}
    Object(host::System made, const ObjectModel& like, bool by_clone)
        : robot(std::move(made)), model(like), is_clone(by_clone) {}

    host::System robot;
    ObjectModel model;
    bool is_clone;
  };

  Fuzzer(const host::Module& module, std::uint64_t seed, std::size_t object_count);

  /// Throws Finding with the number of the call and the calls that led to it.
  void run(long calls);

  long repeated() const { return repeated_; }  ///< computations that were compared with a fresh object's

  // Random arguments of calls.
  Random& random() { return random_; }
  float value(float magnitude);
  std::vector<float> values(float magnitude, std::size_t at_least);
  unsigned long index(unsigned long count) { return random_.integer() % count; }
  unsigned long any_body() { return index(masses_.size()); }
  unsigned long any_joint() { return index(masses_.size() - 1); }
  bool one_in(unsigned long n) { return index(n) == 0; }
  unsigned long no_body();
  /// A struct of floats.
  template <typename Floats>
  Floats any() {
    Floats all;
    std::generate_n(reinterpret_cast<float*>(&all), sizeof(all) / sizeof(float), [this] { return value(2); });
    return all;
  }
  QZ::Math::Transform rigid_pose();
  const Object& any_object() { return objects_[index(objects_.size())]; }

  // Expectations of calls.
  const Layout& layout() const { return pristine_.model.layout; }
  const Object& pristine() const { return pristine_; }
  const std::vector<float>& masses() const { return masses_; }
  float sum_of_masses() const;
  float total_mass() const { return total_mass_; }
  long inertia_changes() const { return inertia_changes_; }
  /// Call this after a computation: it must have written what `repeat` makes of a fresh object. That is then what the
  /// object shows.
  void expect_repeated(Object& object, const std::vector<Stretch>& written,
                       const std::function<void(tesk::RigidBodySystem&)>& repeat);

  // Effects of calls on all objects, and on their lives.
  void change_mass(const tesk::RigidBodySystem& robot, unsigned long b, float mass);
  void create(Object& object);
  void replace(Object& object, Object next);
  host::System copy(const tesk::RigidBodySystem& robot) const;

 private:
  struct Done {
    const char* call;
    std::size_t object;
  };

  void expect_total_mass(const tesk::RigidBodySystem& robot);
  void expect_unchanged(const Object& object);
  void call_once();
  std::string last_calls() const;

  host::Module module_;
  Random random_;
  Object pristine_;  ///< only cloned
  std::vector<Object> objects_;
  std::vector<float> masses_;
  float total_mass_;
  float largest_total_mass_ = 0;  ///< since the masses were last summed
  long mass_roundings_;           ///< since then, those of the sum included
  long inertia_changes_ = 0;
  long calls_ = 0;
  long repeated_ = 0;
  boost::circular_buffer<Done> done_{8};  ///< the last calls
  std::vector<float> seen_, expected_;
};

/// A call with arguments that it draws itself.
struct RandomCall {
  const char* name;
  unsigned weight;
  void (*call)(Fuzzer&, Fuzzer::Object&);
};
extern const std::vector<RandomCall> random_calls;

}  // namespace korvel::validate
