#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "host/robot/module.h"
#include "host/validate/fuzz/object_model.h"
#include "states/shown.h"

namespace korvel::validate {

/// Calls a module at random and knows what must come of each call.
///
/// What a setter stores must read back to the bit. What a computation writes must be, to the bit, what a fresh object
/// with the same inputs and the same past computations writes. All else that any object shows must stay.
class Fuzzer {
 public:
  Fuzzer(const host::Module& module, std::uint64_t seed, std::size_t object_count);

  /// Throws Finding with the number of the call and the calls that led to it.
  void run(long calls);

  long repeated() const { return repeated_; }  ///< computations that were compared with a fresh object's

 private:
  struct Object {
    /// Shows its initial values.
    explicit Object(host::System made) : robot(std::move(made)), model(*robot), is_clone(false) {}
    Object(host::System made, const ObjectModel& like, bool by_clone)
        : robot(std::move(made)), model(like), is_clone(by_clone) {}

    host::System robot;
    ObjectModel model;
    bool is_clone;
  };
  using Repeat = std::function<void(tesk::RigidBodySystem&)>;
  /// A call with arguments that it draws itself.
  struct RandomCall {
    const char* name;
    unsigned weight;
    void (Fuzzer::*call)(Object&);
  };
  struct Done {
    const RandomCall* call;
    std::size_t object;
  };
  static const std::array<RandomCall, 23> random_calls;

  // Setters.
  void setRootPose(Object& object);
  void set_root_rates(Object& object);
  void setJointAngles(Object& object);
  void set_joint_angle(Object& object);
  void setExternalWrench(Object& object);
  void set_external_wrench_in_frame(Object& object);
  void setPose(Object& object);
  void setVolatilePose(Object& object);
  // Computations.
  void computeFwdKinematicsExceptRoot(Object& object);
  void computeFwdKinematicsOnlyRoot(Object& object);
  void computeFwdKinematics(Object& object);
  void computeGeneralizedMass(Object& object);
  void computeInverseDynamics(Object& object);
  void computePartialComJacobian(Object& object);
  void computePartialComPositionInRoot(Object& object);
  // Questions.
  void ask_names(Object& object);
  void ask_unknown_names(Object& object);
  void ask_topology(Object& object);
  void ask_one_by_one(Object& object);
  void ask_com_position(Object& object);
  // What all objects share, and the objects' lives.
  void setBodyInertia(Object& object);
  void create(Object& object);
  void clone(Object& object);

  // Arguments.
  float value(float magnitude);
  std::vector<float> values(float magnitude, std::size_t at_least);
  unsigned long index(unsigned long count) { return random_.integer() % count; }
  unsigned long any_body() { return index(masses_.size()); }
  unsigned long any_joint() { return index(masses_.size() - 1); }
  bool one_in(unsigned long n) { return index(n) == 0; }
  unsigned long no_body();
  QZ::Math::Transform any_pose();
  QZ::Math::Transform rigid_pose();

  const Layout& layout() const { return pristine_.model.layout; }
  host::System copy(const tesk::RigidBodySystem& robot) const;
  /// An object with its initial values. `create` would change the total mass of all.
  host::System fresh() const { return copy(*pristine_.robot); }
  /// After a computation: what it wrote must be what `repeat` makes of a fresh object. Then that is what the object
  /// shows.
  void expect_repeated(Object& object, const std::vector<Stretch>& written, const Repeat& repeat);
  void replace(Object& object, Object next);
  float sum_of_masses() const;
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
  std::array<Done, 8> done_{};  ///< the last calls
  std::vector<float> seen_, expected_;
};

}  // namespace korvel::validate
