#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "tests/validator/faulty/fault.h"

namespace korvel::faulty {
namespace {

// ---- Objects --------------------------------------------------------------------------------------------------------

/// The clone shows all that its original does, but its joint pass is that of the current joint angles.
class CloneWithoutPast : public Faulty<CloneWithoutPast> {
 public:
  std::unique_ptr<RigidBodySystem> clone() const override {
    auto made = std::make_unique<CloneWithoutPast>(*this);
    made->computeInverseDynamics();
    for (unsigned long j = 0; j < getNbJointAngles(); ++j) made->torque(j) = getJointAngleTorque(j);
    return made;
  }
};

class OriginalOutlivesClones : public Faulty<OriginalOutlivesClones> {
 public:
  OriginalOutlivesClones() = default;
  OriginalOutlivesClones(const OriginalOutlivesClones& other) : Faulty(other), family_(other.family_) {}
  OriginalOutlivesClones& operator=(const OriginalOutlivesClones&) = delete;
  ~OriginalOutlivesClones() override {
    if (is_original_ && family_.use_count() > 1) std::abort();
  }

 private:
  std::shared_ptr<int> family_ = std::make_shared<int>();
  const bool is_original_ = family_.use_count() == 1;
};

/// The mass matrix begins 16 bytes behind where it should.
class MisalignedMatrix : public Faulty<MisalignedMatrix> {
 public:
  const Eigen::MatrixXf& getGeneralizedMass() const noexcept override {
    const Eigen::MatrixXf& seen = Faulty::getGeneralizedMass();
    std::copy_n(seen.data(), seen.size(), storage_ + 4);
    image_ = {storage_ + 4, seen.rows(), seen.cols()};
    return reinterpret_cast<const Eigen::MatrixXf&>(image_);
  }

 private:
  struct Image {
    float* first;
    Eigen::Index rows, cols;
  };
  static_assert(sizeof(Image) == sizeof(Eigen::MatrixXf));
  alignas(64) mutable float storage_[4 + 30 * 30]{};
  mutable Image image_{};
};

// ---- Masses ---------------------------------------------------------------------------------------------------------

class MassesOfItsOwn : public Faulty<MassesOfItsOwn> {
 public:
  MassesOfItsOwn() {
    for (unsigned long b = 0; b < getNbBodies(); ++b) masses_.push_back(real().getMass(b));
  }
  using Faulty::getMass;
  void setBodyInertia(unsigned long b, float mass, const Position& com, const Eigen::Matrix3f& I) noexcept override {
    real().setBodyInertia(b, mass, com, I);
    masses_[b] = mass;
  }
  float getMass(unsigned long b) const noexcept override { return masses_[b]; }

 private:
  std::vector<float> masses_;
};

/// The mass matrix is computed once for each joint pass.
class CachedMassMatrix : public Faulty<CachedMassMatrix> {
 public:
  void computeFwdKinematicsExceptRoot() noexcept override {
    real().computeFwdKinematicsExceptRoot();
    is_current_ = false;
  }
  void computeInverseDynamics() noexcept override {
    real().computeInverseDynamics();
    is_current_ = false;
  }
  void computeGeneralizedMass() noexcept override {
    if (!is_current_) real().computeGeneralizedMass();
    is_current_ = true;
  }

 private:
  bool is_current_ = false;
};

// ---- Computations ---------------------------------------------------------------------------------------------------

void compute_more(Forwarder& robot) { robot.real().computeGeneralizedMass(); }

class Ageing : public Faulty<Ageing> {
 public:
  void computeInverseDynamics() noexcept override {
    real().computeInverseDynamics();
    if (is_used_) torque(7) = std::nextafter(torque(7), 0.0F);
    is_used_ = true;
  }

 private:
  bool is_used_ = false;
};

}  // namespace

Faults object_faults() {
  return {
      {"clone without past", make<CloneWithoutPast>},
      {"original must outlive clones", make<OriginalOutlivesClones>},
      {"misaligned matrix", make<MisalignedMatrix>},
      {"masses of its own", make<MassesOfItsOwn>},
      {"mass matrix is cached", make<CachedMassMatrix>},
      {"computes more", make<Spoilt<After::except_root, compute_more>>},
      {"ageing", make<Ageing>},
  };
}

}  // namespace korvel::faulty
