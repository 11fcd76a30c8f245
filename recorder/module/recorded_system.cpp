#include "recorder/module/recorded_system.h"

namespace korvel::record {

RecordedSystem::RecordedSystem() : tape_(Recorder::get().size()) {
  Call recorded(tape_, row_of<&::create>, false);
  Recorder::get().count_shared_change();
  real_ = may_throw(recorded, [] { return Recorder::get().create(); });
  tape_.follow(*real_);
}

RecordedSystem::RecordedSystem(const RecordedSystem& other)
    : Forwarder(other), presence_(other.presence_), tape_(other.tape_) {
  {
    Call recorded(tape_, row_of<&Interface::clone>, false, static_cast<unsigned long>(other.tape_.number()),
                  static_cast<unsigned long>(other.tape_.next_call()));
    real_ = may_throw(recorded, [&] { return other.real_->clone(); });
    tape_.follow(*real_);
  }
  tape_.restate_clone();
}

RecordedSystem::~RecordedSystem() {
  const Call recorded(tape_, row_of<&::destroy>, false);
  real_.reset();
}

std::unique_ptr<tesk::RigidBodySystem> RecordedSystem::clone() const {
  return std::unique_ptr<RigidBodySystem>(new RecordedSystem(*this));
}

void RecordedSystem::compute_partial_com_jacobian(unsigned long b, ComJacobian& J) const {
  const bool has_result = b < static_cast<unsigned long>(tape_.size().bodies);
  Call recorded(tape_, row_of<&Interface::computePartialComJacobian>, has_result, b,
                static_cast<unsigned long>(J.cols()));
  may_throw(recorded, [&] {
    real_->computePartialComJacobian(b, J);
    if (has_result) recorded.result(J);
  });
}

}  // namespace korvel::record
