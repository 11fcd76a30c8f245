#include <new>

#include "contract/forwarder.h"
#include "recorder/module/tape.h"

namespace korvel::record {

namespace {

/// Returns what a call returns; what it throws is recorded.
template <typename Function>
decltype(auto) may_throw(Call& recorded, const Function& function) {
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

/// Passes every call on to an object of the module and records it.
class RecordedSystem final : public Forwarder<RecordedSystem> {
 public:
  RecordedSystem() : tape_(Recorder::get().size()) {
    Call recorded(tape_, row_of<&::create>, false);
    Recorder::get().count_shared_change();
    real_ = may_throw(recorded, [] { return Recorder::get().create(); });
    tape_.follow(*real_);
  }
  RecordedSystem& operator=(const RecordedSystem&) = delete;
  ~RecordedSystem() override {
    const Call recorded(tape_, row_of<&::destroy>, false);
    real_.reset();
  }

  std::unique_ptr<RigidBodySystem> clone() const override {
    return std::unique_ptr<RigidBodySystem>(new RecordedSystem(*this));
  }

 private:
  friend Forwarder<RecordedSystem>;

  RecordedSystem(const RecordedSystem& other) : Forwarder(other), presence_(other.presence_), tape_(other.tape_) {
    {
      Call recorded(tape_, row_of<&Interface::clone>, false, static_cast<unsigned long>(other.tape_.number()),
                    static_cast<unsigned long>(other.tape_.next_call()));
      real_ = may_throw(recorded, [&] { return other.real_->clone(); });
      tape_.follow(*real_);
    }
    tape_.restate_clone();
  }

  // Everything is inlined. Calls of functions would make a recorded call a quarter slower.
  template <auto method, typename... Values>
  [[gnu::flatten]] decltype(auto) call(Values&... values) const {
    constexpr const auto& row = row_of<method>;
    RigidBodySystem& real = *real_;
    using Returned = std::invoke_result_t<decltype(method), RigidBodySystem&, Values&...>;
    if constexpr (operation_of<method> == operation_of<&Interface::computePartialComJacobian>) {
      compute_partial_com_jacobian(values...);
    } else {
      constexpr bool computes = !row.stages.empty();
      constexpr bool changes_shared = row.writes.has(Resource::inertias);
      Call recorded(tape_, row, computes || !std::is_void_v<Returned>, values...);
      return may_throw(recorded, [&]() -> Returned {
        if constexpr (std::is_void_v<Returned>) {
          (real.*method)(values...);
          if constexpr (computes) recorded.shown_by(real);
          if constexpr (changes_shared) Recorder::get().count_shared_change();
        } else {
          Returned result = (real.*method)(values...);
          recorded.result(result);
          return static_cast<Returned&&>(result);
        }
      });
    }
  }

  void compute_partial_com_jacobian(unsigned long b, ComJacobian& J) const {
    const bool has_result = b < static_cast<unsigned long>(tape_.size().bodies);
    Call recorded(tape_, row_of<&Interface::computePartialComJacobian>, has_result, b,
                  static_cast<unsigned long>(J.cols()));
    may_throw(recorded, [&] {
      real_->computePartialComJacobian(b, J);
      if (has_result) recorded.result(J);
    });
  }

  Presence presence_;
  std::unique_ptr<RigidBodySystem> real_;
  mutable Tape tape_;
};

}  // namespace

}  // namespace korvel::record

tesk::RigidBodySystem* create() { return new korvel::record::RecordedSystem; }

void destroy(tesk::RigidBodySystem* system) noexcept { delete system; }
