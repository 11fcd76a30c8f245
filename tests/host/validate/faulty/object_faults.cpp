#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>

#include "tests/host/validate/faulty/fault.h"

namespace korvel::faulty {
namespace {

// ---- Objects --------------------------------------------------------------------------------------------------------

class CloneWithoutWrenches : public Faulty<CloneWithoutWrenches> {
 public:
  std::unique_ptr<RigidBodySystem> clone() const override {
    auto made = Faulty::clone();
    drop_wrenches(*made);
    return made;
  }
};

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

class CloneSharesVolatilePose : public Faulty<CloneSharesVolatilePose> {
 public:
  const Transform& getVolatilePose(unsigned long) const noexcept override { return *shared_; }
  void setVolatilePose(unsigned long, const Transform& pose) noexcept override { *shared_ = pose; }

 private:
  std::shared_ptr<Transform> shared_ = std::make_shared<Transform>();
};

class ObjectsShareVolatilePose : public Faulty<ObjectsShareVolatilePose> {
 public:
  const Transform& getVolatilePose(unsigned long) const noexcept override { return shared(); }
  void setVolatilePose(unsigned long, const Transform& pose) noexcept override { shared() = pose; }

 private:
  static Transform& shared() {
    static Transform pose;
    return pose;
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

class MassOfCreation : public Faulty<MassOfCreation> {
 public:
  using Faulty::getMass;
  float getMass() const noexcept override { return mass_; }

 private:
  float mass_ = real().getMass();
};

class NoBodyWeighsAll : public Faulty<NoBodyWeighsAll> {
 public:
  float getPartialMass(unsigned long b) const noexcept override {
    return b < getNbBodies() ? real().getPartialMass(b) : 0;
  }
};

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

class BothTriangles : public Faulty<BothTriangles> {
 public:
  void setBodyInertia(unsigned long b, float mass, const Position& com, const Eigen::Matrix3f& I) noexcept override {
    real().setBodyInertia(b, mass, com, (I + I.transpose()) / 2);
  }
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

/// Inverse dynamics leaves the joint pass as it was.
class TorquesAside : public Faulty<TorquesAside> {
 public:
  void computeInverseDynamics() noexcept override {
    const auto aside = real().clone();
    aside->computeInverseDynamics();
    for (unsigned long j = 0; j < getNbJointAngles(); ++j) torque(j) = aside->getJointAngleTorque(j);
  }
};

class NoBodyClearsJacobian : public Faulty<NoBodyClearsJacobian> {
 public:
  void computePartialComJacobian(unsigned long b, ComJacobian& J) override {
    if (b >= getNbBodies()) J.setZero();
    real().computePartialComJacobian(b, J);
  }
};

class NoBodyLeavesRoot : public Faulty<NoBodyLeavesRoot> {
 public:
  Position computePartialComPositionInRoot(unsigned long b) noexcept override {
    return b == 0 || b >= getNbBodies() ? real().getComPositionInRoot() : real().computePartialComPositionInRoot(b);
  }
};

class NewStorage : public Faulty<NewStorage> {
 public:
  void computePartialComJacobian(unsigned long b, ComJacobian& J) override {
    ComJacobian made;
    real().computePartialComJacobian(b, made);
    if (b < getNbBodies()) made.swap(J);
  }
};

}  // namespace

Faults object_faults() {
  return {
      {"clone without wrenches", make<CloneWithoutWrenches>},
      {"clone without past", make<CloneWithoutPast>},
      {"clone shares a pose", make<CloneSharesVolatilePose>},
      {"objects share a pose", make<ObjectsShareVolatilePose>},
      {"original must outlive clones", make<OriginalOutlivesClones>},
      {"misaligned matrix", make<MisalignedMatrix>},
      {"mass of creation", make<MassOfCreation>},
      {"without no body nothing is left", make<NoBodyWeighsAll>},
      {"masses of its own", make<MassesOfItsOwn>},
      {"mass matrix is cached", make<CachedMassMatrix>},
      {"both triangles are read", make<BothTriangles>},
      {"computes more", make<Spoilt<After::except_root, compute_more>>},
      {"ageing", make<Ageing>},
      {"torques aside", make<TorquesAside>},
      {"no body clears the jacobian", make<NoBodyClearsJacobian>},
      {"no body stays in the root", make<NoBodyLeavesRoot>},
      {"new storage", make<NewStorage>},
  };
}

}  // namespace korvel::faulty
