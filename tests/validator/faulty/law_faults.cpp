#include <cmath>

#include "tests/validator/faulty/fault.h"

namespace korvel::faulty {
namespace {

// ---- Results that are spoilt ----------------------------------------------------------------------------------------

void stretch_pose(Forwarder& robot) { robot.pose_in_root(12).r00 += 1e-4F; }
void mirror_pose(Forwarder& robot) {
  for (float* entry : {&robot.pose(12).r02, &robot.pose(12).r12, &robot.pose(12).r22}) *entry = -*entry;
}
void pose_stays_in_root(Forwarder& robot) { robot.pose(3) = robot.pose_in_root(3); }
void move_com(Forwarder& robot) { robot.com_in_root().x += 1e-4F; }
void move_com_with_root(Forwarder& robot) { robot.com_in_root().x += 1e-4F * robot.getRootPose().tx; }
void turn_column(Forwarder& robot) { robot.jacobian().col(10) *= -1; }

void set_entry(Forwarder& robot, int row, int column, float value) {
  robot.mass()(row, column) = value;
  robot.mass()(column, row) = value;
}
void asymmetric_entry(Forwarder& robot) { robot.mass()(12, 3) = std::nextafter(robot.mass()(12, 3), 0.0F); }
void negative_entry(Forwarder& robot) { robot.mass()(29, 29) *= -1; }
void coupled_arms(Forwarder& robot) { set_entry(robot, 25, 10, 1e-30F); }
void lost_entry(Forwarder& robot) { set_entry(robot, 0, 10, 0); }
void armature(Forwarder& robot) { robot.mass()(9, 9) += 0.01F; }

void friction(Forwarder& robot) {
  for (unsigned long j = 0; j < robot.getNbJointAngles(); ++j) robot.torque(j) += 0.1F * robot.getJointAngleVel(j);
}

// ---- Inverse dynamics of other inputs -------------------------------------------------------------------------------

template <QZ::Math::Velocity6D (*other)(const Forwarder&)>
class OtherAcceleration : public Faulty<OtherAcceleration<other>> {
 public:
  void computeInverseDynamics() noexcept override {
    const QZ::Math::Velocity6D kept = this->getRootAcceleration();
    this->setRootAcceleration(other(*this));
    this->real().computeInverseDynamics();
    this->setRootAcceleration(kept);
  }
};

/// The root's acceleration and one more, given in the world.
QZ::Math::Velocity6D accelerated(const Forwarder& robot, float x, float z) {
  const auto& R = robot.getRootPose();
  auto a = robot.getRootAcceleration();
  a.x += R.r00 * x + R.r20 * z;
  a.y += R.r01 * x + R.r21 * z;
  a.z += R.r02 * x + R.r22 * z;
  return a;
}
QZ::Math::Velocity6D little_gravity(const Forwarder& robot) { return accelerated(robot, 0, 9.80F - 9.81F); }
QZ::Math::Velocity6D leaning_gravity(const Forwarder& robot) { return accelerated(robot, 0.05F, 0); }

/// As if what is given were the acceleration of the root's origin.
QZ::Math::Velocity6D of_origin(const Forwarder& robot) {
  const auto v = robot.getRootVelocity();
  auto a = robot.getRootAcceleration();
  a.x -= v.wy * v.z - v.wz * v.y;
  a.y -= v.wz * v.x - v.wx * v.z;
  a.z -= v.wx * v.y - v.wy * v.x;
  return a;
}

template <int factor>
class OtherVelocities : public Faulty<OtherVelocities<factor>> {
 public:
  void computeInverseDynamics() noexcept override {
    const auto velocities = this->getJointAnglesVel();
    const Eigen::ArrayXf kept = Eigen::Map<const Eigen::ArrayXf>(velocities.first, velocities.last - velocities.first);
    this->setJointAnglesVel(static_cast<float>(factor) * kept);
    this->real().computeInverseDynamics();
    this->setJointAnglesVel(kept);
  }
};

// ---- Inputs that are misunderstood ----------------------------------------------------------------------------------

class WrenchReachesFar : public Faulty<WrenchReachesFar> {
 public:
  using Faulty::setExternalWrench;
  void setExternalWrench(unsigned long b, const Wrench& wrench) noexcept override {
    real().setExternalWrench(b, wrench);
    if (b == getNbBodies() - 1) force_ = wrench[0];
  }
  void computeInverseDynamics() noexcept override {
    real().computeInverseDynamics();
    torque(0) += 1e-5F * force_;
  }

 private:
  float force_ = 0;
};

}  // namespace

Faults law_faults() {
  return {
      {"stretched pose", make<Spoilt<After::except_root, stretch_pose>>},
      {"mirrored pose", make<Spoilt<After::only_root, mirror_pose>>},
      {"pose stays in the root", make<Spoilt<After::only_root, pose_stays_in_root>>},
      {"centre of mass is off", make<Spoilt<After::except_root, move_com>>},
      {"centre of mass moves with the root", make<Spoilt<After::except_root, move_com_with_root>>},
      {"turned column", make<Spoilt<After::except_root, turn_column>>},
      {"asymmetric entry", make<Spoilt<After::mass_matrix, asymmetric_entry>>},
      {"negative entry", make<Spoilt<After::mass_matrix, negative_entry>>},
      {"coupled arms", make<Spoilt<After::mass_matrix, coupled_arms>>},
      {"lost entry", make<Spoilt<After::mass_matrix, lost_entry>>},
      {"armature", make<Spoilt<After::mass_matrix, armature>>},
      {"friction", make<Spoilt<After::torques, friction>>},
      {"gravity of 9.80", make<OtherAcceleration<little_gravity>>},
      {"gravity leans", make<OtherAcceleration<leaning_gravity>>},
      {"acceleration of the origin", make<OtherAcceleration<of_origin>>},
      {"velocities are lost", make<OtherVelocities<0>>},
      {"velocities count twice", make<OtherVelocities<2>>},
      {"wrench reaches far", make<WrenchReachesFar>},
  };
}

}  // namespace korvel::faulty
