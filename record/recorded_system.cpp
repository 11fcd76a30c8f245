#include "record/recorded_system.h"

namespace korvel::record {

RecordedSystem::RecordedSystem() : tape_(Recorder::get().size()) {
  Call recorded(tape_, Names::create, 0);
  Recorder::get().count_shared_change();
  real_ = may_throw(recorded, [] { return Recorder::get().create(); });
  tape_.follow(*real_);
}

RecordedSystem::RecordedSystem(const RecordedSystem& other)
    : RigidBodySystem(other), presence_(other.presence_), tape_(other.tape_) {
  {
    Call recorded(tape_, Names::clone, 0, static_cast<unsigned long>(other.tape_.number()),
                  static_cast<unsigned long>(other.tape_.next_call()));
    real_ = may_throw(recorded, [&] { return other.real_->clone(); });
    tape_.follow(*real_);
  }
  tape_.restate_clone();
}

RecordedSystem::~RecordedSystem() {
  const Call recorded(tape_, Names::destroy, 0);
  real_.reset();
}

std::unique_ptr<tesk::RigidBodySystem> RecordedSystem::clone() const {
  return std::unique_ptr<RigidBodySystem>(new RecordedSystem(*this));
}

void RecordedSystem::partial_com_jacobian(unsigned long b, ComJacobian& J) {
  const bool known = b < static_cast<unsigned long>(tape_.size().bodies);
  Call recorded(tape_, Names::computePartialComJacobian, known ? shown_bytes(Names::computePartialComJacobian) : 0, b,
                static_cast<unsigned long>(J.cols()));
  try {
    real_->computePartialComJacobian(b, J);
    if (known) recorded.result(J);
  } catch (...) {
    recorded.thrown(true);
    throw;
  }
}

}  // namespace korvel::record
