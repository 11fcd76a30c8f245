#include "host/robot/conventions.h"

namespace korvel::host {

const std::vector<Convention>& conventions() {
  static const std::vector<Convention> all{
      {"units", "m, rad, kg, s, N; single precision"},
      {"coordinates",
       "0 to 5 the root: x, y, z, then rotations about x, y, z; 6 + j joint angle j, the joint of body j + 1"},
      {"orientation", "of the root: Rz(yaw) Ry(pitch) Rx(roll), in the world"},
      {"root rates", "in the root frame, linear part first; the acceleration is the derivative of those six numbers"},
      {"frames", "root: the frame of body 0; world: where the root's pose is given, z up, gravity along -z"},
      {"joints", "each but the root's turns its body about the z axis of the body's frame"},
      {"poses", "[R | t] of a body in root or world: p of the body is R p + t there"},
      {"jacobian", "6 rows, angular first, root axes, point at the root's origin"},
      {"com", "getComPosition in the world, getComPositionInRoot in the root; both are divided by the mass"},
      {"partial com",
       "of the robot without body b, in the root; for b = 0 or no body: of the whole robot, in the world"},
      {"com jacobian", "of the robot without body b, world axes, times the mass that is left: the host divides"},
      {"wrenches", "force, then moment about the body's origin, both in the body frame; kept until set again"},
      {"order", "set joints and root; computeFwdKinematics; then poses, centre of mass, mass matrix and com jacobian"},
      {"torques",
       "computeInverseDynamics takes the same inputs and the wrenches; what the joints have to give, about +z"},
  };
  return all;
}

}  // namespace korvel::host
