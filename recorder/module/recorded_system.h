#pragma once

#include <new>

#include "contract/forwarder.h"
#include "recorder/module/tape.h"

namespace korvel::record {

/// Passes every call on to an object of the module and records it.
class RecordedSystem final : public Forwarder<RecordedSystem> {
 public:
  RecordedSystem();
  RecordedSystem& operator=(const RecordedSystem&) = delete;
  ~RecordedSystem() override;

  std::unique_ptr<RigidBodySystem> clone() const override;

 private:
  friend Forwarder<RecordedSystem>;

  RecordedSystem(const RecordedSystem& other);

  template <auto method, typename... Values>
  decltype(auto) call(Values&... values) const;
  void compute_partial_com_jacobian(unsigned long b, ComJacobian& J) const;
  template <typename Function>
  static decltype(auto) may_throw(Call& recorded, const Function& function);

  Presence presence_;
  std::unique_ptr<RigidBodySystem> real_;
  mutable Tape tape_;
};

// Everything is inlined. Calls of functions would make a recorded call a quarter slower.
template <auto method, typename... Values>
[[gnu::flatten]] decltype(auto) RecordedSystem::call(Values&... values) const {
  constexpr const auto& row = row_of<method>;
  RigidBodySystem& real = *real_;
  using Returned = std::invoke_result_t<decltype(method), RigidBodySystem&, Values&...>;
  if constexpr (operation_of<method> == operation_of<&Interface::computePartialComJacobian>) {
    compute_partial_com_jacobian(values...);
  } else {
    constexpr bool computes = !row.stages.empty();
    Call recorded(tape_, row, computes || !std::is_void_v<Returned>, values...);
    return may_throw(recorded, [&]() -> Returned {
      if constexpr (std::is_void_v<Returned>) {
        (real.*method)(values...);
        if constexpr (computes) recorded.shown_by(real);
        if constexpr (row.writes.has(Resource::inertias)) Recorder::get().count_shared_change();
      } else {
        Returned result = (real.*method)(values...);
        recorded.result(result);
        return static_cast<Returned&&>(result);
      }
    });
  }
}

template <typename Function>
decltype(auto) RecordedSystem::may_throw(Call& recorded, const Function& function) {
  try {
    return function();
  } catch (const std::bad_alloc&) {
    recorded.thrown(true);
    throw;
  } catch (...) {
    recorded.thrown(false);
    throw;
  }
}

}  // namespace korvel::record
