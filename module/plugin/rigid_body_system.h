#pragma once

/// The binary contract between a host and the plug-in: two exported functions and one abstract interface.
///
/// Loading. The host opens the module (RTLD_NOW | RTLD_LOCAL), looks up `create` and `destroy`, and speaks to
/// each object that `create` returns through `tesk::RigidBodySystem` alone. The module may be closed once every
/// object made by it is gone; references that it returned die with the object, names with the module.
///
/// Indices, all `unsigned long`:
///   body b             0 .. getNbBodies() - 1, 0 is the root
///   joint angle j      0 .. getNbJointAngles() - 1, the joint of body j + 1 and coordinate 6 + j
///   coordinate d       0 .. 29; 0 to 5 belong to the root: x, y, z, then the rotations about x, y and z
///   volatile frame v   0 .. getNbVolatileFrames() - 1
/// Where an operation does not say otherwise, an index out of range is a caller error: it stops builds with
/// assertions and is undefined in others.
///
/// Units: metres, radians, kilograms, seconds, newtons. All quantities are single precision.
///
/// Frames: a pose [R | t] of frame B in frame A maps B coordinates to A coordinates. "Root" is the frame of body
/// 0, "world" is the frame in which the root's pose is given, z up; gravity is 9.81 m/s^2 along its -z. Spatial
/// vectors have six rows, angular part first; the host's own six-coordinate types have the linear part first.
///
/// Order of calls. Setters store, computations compute, getters read what the last computation or setter left;
/// nothing is computed implicitly.
///   setJointAngles*, setRoot*  ->  computeFwdKinematics  ->  poses, centres of mass, jacobian
///                                        |--------------->  computeGeneralizedMass, computePartialCom*
///   setJointAngles*, setRoot*, setExternalWrench  ->  computeInverseDynamics  ->  torques
///
/// Real time. Operations marked `noexcept` never throw. Except for `destroy` and the destructor, which free memory,
/// they do not touch the heap, lock, or make a system call, need at most 16 KiB of stack, and touch no further pages of
/// memory after the first calls. The others say what they allocate and throw. No operation changes rounding, traps or
/// the treatment of denormal numbers; flushing those to zero is fine. As long as no result exceeds single precision and
/// no body is massless, none raises an invalid, division-by-zero or overflow flag.
///
/// Determinism. Equal inputs give equal bits, whatever was computed before. What is relative to the root does not
/// depend on the root's pose, and a wrench does not change the torques of joints that do not carry its body, to the
/// last bit. A module that is closed leaves the process; loaded again it has the inertias that it was built with.
///
/// Compilation. A host may be compiled for any instruction set and with any optimisation. What it must share with the
/// module, this header checks: 64-bit `unsigned long`, libstdc++ with its default layouts, Eigen's default storage
/// order and index. Matrices that the module returns begin at multiples of 64 bytes, enough for Eigen's widest vectors.
/// Eigen allocates and frees storage in a way that depends on the host's flags; computePartialComJacobian allows for
/// that.
///
/// Threads. There are no locks. One object belongs to one thread at a time; different objects may be used from
/// different threads. Two things are shared by all objects of the module, the table of body inertias and the
/// total mass: `create` and `setBodyInertia` write them and must not overlap any call on any object.

#if __cplusplus < 201703L
#error "korvel: compile the host as C++17 or later (-std=c++17)"
#endif

#include <Eigen/Core>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "qzmath/qzmath.h"

/// Whether this host's Eigen has its own scheme to allocate and free storage. Classes that override the interface need
/// to know, because one operation has another name then.
#define KORVEL_EIGEN_ALLOCATES (EIGEN_DEFAULT_ALIGN_BYTES > 0 && !EIGEN_MALLOC_ALREADY_ALIGNED)

// Strings, vectors and matrices cross the boundary: both sides must lay them out alike.
#if EIGEN_WORLD_VERSION != 3 || EIGEN_MAJOR_VERSION != 4
#error "korvel: the module uses Eigen 3.4, compile the host with it too"
#endif
#if EIGEN_MALLOC_ALREADY_ALIGNED && EIGEN_DEFAULT_ALIGN_BYTES > 16
#error \
    "korvel: vectors of this width need more than malloc aligns, compile the host without EIGEN_MALLOC_ALREADY_ALIGNED"
#endif
#if !defined(__GLIBCXX__)
#error "korvel: the module uses libstdc++, compile the host with it too (clang++: -stdlib=libstdc++)"
#elif !_GLIBCXX_USE_CXX11_ABI
#error "korvel: the module uses the current std::string, compile the host without _GLIBCXX_USE_CXX11_ABI=0"
#elif defined(_GLIBCXX_DEBUG)
#error "korvel: checked containers are larger, compile the host without _GLIBCXX_DEBUG (_GLIBCXX_ASSERTIONS will do)"
#endif
#if !defined(KORVEL_ALLOW_32_BIT)
static_assert(sizeof(unsigned long) == 8,
              "korvel: indices have 64 bits, compile host and module for a 64-bit target, or both with "
              "KORVEL_ALLOW_32_BIT defined");
#endif
static_assert(!Eigen::MatrixXf::IsRowMajor,
              "korvel: matrices are stored by columns, compile the host without EIGEN_DEFAULT_TO_ROW_MAJOR");
static_assert(sizeof(Eigen::Index) == sizeof(std::ptrdiff_t),
              "korvel: matrices have sizes of type ptrdiff_t, compile the host without EIGEN_DEFAULT_DENSE_INDEX_TYPE");

namespace tesk {

/// Read-only view of consecutive floats inside an object: the first and one past the last. Valid while the
/// object lives; shows later writes.
struct FloatRange {
  const float* first;
  const float* last;

  const float* begin() const noexcept { return first; }
  const float* end() const noexcept { return last; }
  std::size_t size() const noexcept { return static_cast<std::size_t>(last - first); }
  const float& operator[](std::size_t i) const noexcept { return first[i]; }
};
static_assert(std::is_trivially_copyable_v<FloatRange> && sizeof(FloatRange) == 2 * sizeof(const float*));

/// Kinematics and dynamics of one fixed robot with a floating root.
///
/// The order of the virtual operations is part of the contract: a host reaches each by its position. Operations
/// are never moved or removed; new ones go to the end.
class RigidBodySystem {
 public:
  using Jacobian = Eigen::Matrix<float, 6, Eigen::Dynamic>;
  using ComJacobian = Eigen::Matrix<float, 3, Eigen::Dynamic>;
  using JointValues = Eigen::Ref<const Eigen::ArrayXf>;
  using TopologyVector = std::vector<std::int64_t>;

  virtual ~RigidBodySystem() = default;

  /// A deep copy of the object: inputs, results and the state that computations have left.
  /// Throws std::bad_alloc; then nothing has been made. Release it by the pointer or by `destroy`.
  virtual std::unique_ptr<RigidBodySystem> clone() const = 0;

  // ---- The robot. Answers never change. -----------------------------------------------------------------------

  /// The object's name: empty. May allocate as any std::string.
  virtual std::string getName() const = 0;
  virtual unsigned long getNbJointAngles() const noexcept = 0;
  virtual unsigned long getNbBodies() const noexcept = 0;
  virtual unsigned long getNbVolatileFrames() const noexcept = 0;
  /// Names live as long as the module is loaded.
  virtual const std::string& getRootName() const noexcept = 0;
  virtual const std::string& getJointAngleName(unsigned long j) const noexcept = 0;
  /// Index of the joint angle with exactly this name. Linear in the number of joints.
  /// Throws std::out_of_range: no joint angle named "NAME". The root's joint is not a joint angle.
  virtual unsigned long getJointAngleId(const std::string& name) const = 0;
  virtual const std::string& getBodyName(unsigned long b) const noexcept = 0;
  /// Index of the body with exactly this name. Linear in the number of bodies.
  /// Throws std::out_of_range: no body named "NAME".
  virtual unsigned long getBodyId(const std::string& name) const = 0;

  // ---- Masses. Shared by all objects of the module. -----------------------------------------------------------

  /// Replaces the mass [kg], the centre of mass [m] and the rotational inertia about the centre of mass [kg m^2]
  /// of body b, both in the frame of body b; of `inertia` only the lower triangle is read. The total mass
  /// follows. Masses and getComPosition(b) show it at once, every object computes with the new values from its
  /// next computation on; stored results stay.
  virtual void setBodyInertia(unsigned long b, float mass, const QZ::Math::Position3D& com,
                              const Eigen::Matrix3f& inertia) noexcept = 0;
  /// Total mass of the robot [kg].
  virtual float getMass() const noexcept = 0;
  /// Total mass without body b; for any b that names no body, the total mass.
  virtual float getPartialMass(unsigned long b) const noexcept = 0;
  /// Mass of body b.
  virtual float getMass(unsigned long b) const noexcept = 0;

  // ---- Inputs: root and joints --------------------------------------------------------------------------------

  /// Sets the root's six position coordinates and its stored pose, which becomes the round trip of `pose`
  /// through the coordinates: its rotation is rebuilt from three angles. The other bodies follow with the next
  /// computeFwdKinematicsOnlyRoot.
  virtual void setRootPose(const QZ::Math::Transform& pose) noexcept = 0;
  /// The same object as getPose(0).
  virtual const QZ::Math::Transform& getRootPose() const noexcept = 0;
  /// Velocity of the root, in the root frame: linear velocity of its origin [m/s], angular velocity [rad/s].
  virtual void setRootVelocity(const QZ::Math::Velocity6D& v) noexcept = 0;
  /// Time derivative of the six numbers of setRootVelocity [m/s^2, rad/s^2]. The linear part is therefore the
  /// acceleration of the origin less the cross product of angular and linear velocity.
  virtual void setRootAcceleration(const QZ::Math::Velocity6D& a) noexcept = 0;
  virtual QZ::Math::Velocity6D getRootVelocity() const noexcept = 0;
  virtual QZ::Math::Velocity6D getRootAcceleration() const noexcept = 0;

  /// All joint angles [rad], velocities [rad/s], accelerations [rad/s^2], in the order of the joint-angle
  /// indices. At least getNbJointAngles() values, further ones are ignored. A host array that is not contiguous
  /// is copied by Eigen on the host's side, and that allocates.
  virtual void setJointAnglesPos(const JointValues& values) noexcept = 0;
  virtual void setJointAnglesVel(const JointValues& values) noexcept = 0;
  virtual void setJointAnglesAcc(const JointValues& values) noexcept = 0;
  virtual void setJointAnglePos(unsigned long j, float value) noexcept = 0;
  virtual void setJointAngleVel(unsigned long j, float value) noexcept = 0;
  virtual void setJointAngleAcc(unsigned long j, float value) noexcept = 0;
  virtual float getJointAnglePos(unsigned long j) const noexcept = 0;
  virtual float getJointAngleVel(unsigned long j) const noexcept = 0;
  virtual float getJointAngleAcc(unsigned long j) const noexcept = 0;
  /// Views of all joint values, getNbJointAngles() floats each.
  virtual FloatRange getJointAnglesPos() const noexcept = 0;
  virtual FloatRange getJointAnglesVel() const noexcept = 0;
  virtual FloatRange getJointAnglesAcc() const noexcept = 0;

  // ---- Inputs: loads ------------------------------------------------------------------------------------------

  /// External wrench on body b, kept until it is set again: force x, y, z [N], then moment x, y, z [N m] about the
  /// origin of body b, both in the frame of body b. At least six floats, further ones are ignored.
  virtual void setExternalWrench(unsigned long b, const std::vector<float>& wrench) noexcept = 0;
  /// The same with the wrench given in another frame, `frame` being the pose of that frame in body b: a point p
  /// of it is R p + t in body b. The moment is about the origin of that frame.
  virtual void setExternalWrench(unsigned long b, const std::vector<float>& wrench,
                                 QZ::Math::Transform frame) noexcept = 0;

  // ---- Computations -------------------------------------------------------------------------------------------

  /// Computes from the joint angles: poses, jacobian and centre of mass in the root, and the state that the mass
  /// matrix, the partial centre of mass and computeFwdKinematicsOnlyRoot read.
  virtual void computeFwdKinematicsExceptRoot() noexcept = 0;
  /// Computes poses and centre of mass in the world, from the root's coordinates and the last
  /// computeFwdKinematicsExceptRoot. This call alone is enough after setRootPose.
  virtual void computeFwdKinematicsOnlyRoot() noexcept = 0;
  /// Calls both of the above, in that order.
  virtual void computeFwdKinematics() noexcept {
    computeFwdKinematicsExceptRoot();
    computeFwdKinematicsOnlyRoot();
  }
  /// The generalized mass matrix for the joint angles of the last computeFwdKinematics,
  /// computeFwdKinematicsExceptRoot or computeInverseDynamics, whichever ran last.
  virtual void computeGeneralizedMass() noexcept = 0;
  /// Jacobian of the centre of mass of the robot without body b, times the mass of the robot without body b (it
  /// is not divided by it): momentum along the world axes per generalized velocity.
  /// J becomes 3 x 30 [kg], [kg m]; a J of 90 coefficients keeps its storage, any other is reallocated. Reads the
  /// same state as computeGeneralizedMass. For b that names no body, J is left as it was.
  /// Throws std::bad_alloc; then J is as it was.
#if KORVEL_EIGEN_ALLOCATES
  /// The module reallocates by malloc and free. The Eigen of this host, compiled for AVX or with AddressSanitizer, does
  /// not: the host gives J its size, and the module, behind the same position, finds nothing to reallocate.
  /// A mock overrides the second of the two, under this condition.
  void computePartialComJacobian(unsigned long b, ComJacobian& J) {
    const auto columns = static_cast<Eigen::Index>(6 + getNbJointAngles());
    if (J.cols() != columns && b < getNbBodies()) ComJacobian(3, columns).swap(J);
    computePartialComJacobianOfRightSize(b, J);
  }
  virtual void computePartialComJacobianOfRightSize(unsigned long b, ComJacobian& J) = 0;
#else
  virtual void computePartialComJacobian(unsigned long b, ComJacobian& J) = 0;
#endif
  /// Centre of mass of the robot without body b, root frame, for the joint angles of the last
  /// computeFwdKinematicsExceptRoot. For b = 0 or b that names no body: getComPosition(), world frame.
  virtual QZ::Math::Position3D computePartialComPositionInRoot(unsigned long b) noexcept = 0;

  // ---- Results: kinematics ------------------------------------------------------------------------------------

  /// Pose of body b in the root; of body 0 the identity.
  virtual const QZ::Math::Transform& getPoseInRoot(unsigned long b) const noexcept = 0;
  /// Pose of body b in the world. For b = ~0UL, which is what the root's parent -1 becomes, the identity.
  virtual const QZ::Math::Transform& getPose(unsigned long b) const noexcept = 0;
  /// Overwrites the stored world pose of body b until the next computeFwdKinematicsOnlyRoot.
  virtual void setPose(unsigned long b, const QZ::Math::Transform& pose) noexcept = 0;
  /// World pose of a volatile frame: stored for the host, read and written by no computation.
  virtual const QZ::Math::Transform& getVolatilePose(unsigned long v) const noexcept = 0;
  virtual void setVolatilePose(unsigned long v, const QZ::Math::Transform& pose) noexcept = 0;
  /// Centre of mass of body b in the world, from its stored world pose.
  virtual QZ::Math::Position3D getComPosition(unsigned long b) const noexcept = 0;
  /// Centre of mass of the robot in the root frame.
  virtual const QZ::Math::Position3D& getComPositionInRoot() const noexcept = 0;
  /// Centre of mass of the robot in the world.
  virtual const QZ::Math::Position3D& getComPosition() const noexcept = 0;

  /// 30 x 30, row and column d belong to coordinate d: generalized force = M ddq at zero velocity and gravity.
  /// Symmetric bit for bit; entries that couple two limbs are exactly zero. Zero before the first computation.
  virtual const Eigen::MatrixXf& getGeneralizedMass() const noexcept = 0;
  /// 6 x 30: column 6 + j is the motion of the bodies below joint j against the root per unit of its velocity, in
  /// root axes, rows 0 to 2 angular [-], rows 3 to 5 the linear motion of the point at the root's origin [m].
  /// Columns 0 to 5 are the root's own motion [0 1; 1 0] and never change.
  virtual const Jacobian& getJacobianInRoot() const noexcept = 0;

  // ---- Topology -----------------------------------------------------------------------------------------------

  /// One entry per body. Each call allocates a vector and may throw std::bad_alloc.
  /// Parent body, -1 for the root; every other entry is smaller than its own index.
  virtual TopologyVector getParentsVector() const = 0;
  /// Number of coordinates of the body's joint: 6 for the root, 1 for the others.
  virtual TopologyVector getDofNumbersVector() const = 0;
  /// Index of the first coordinate of the body's joint.
  virtual TopologyVector getDofIndexesVector() const = 0;

  // ---- Dynamics -----------------------------------------------------------------------------------------------

  /// Joint torques for the current positions, velocities, accelerations and external wrenches under gravity.
  /// Refreshes the state that computeGeneralizedMass reads, but no pose and no centre of mass.
  virtual void computeInverseDynamics() noexcept = 0;
  /// Torque of joint angle j [N m].
  virtual float getJointAngleTorque(unsigned long j) const noexcept = 0;
  /// View of all torques, getNbJointAngles() floats.
  virtual FloatRange getJointAnglesTorque() const noexcept = 0;

 protected:
  RigidBodySystem() = default;
  RigidBodySystem(const RigidBodySystem&) = default;
  RigidBodySystem& operator=(const RigidBodySystem&) = default;
};

}  // namespace tesk

#if defined(__GNUC__)
#define KORVEL_EXPORT __attribute__((visibility("default")))
#else
#define KORVEL_EXPORT
#endif

extern "C" {

/// Makes one robot with inputs and results zero, poses the identity, and the root's columns of the jacobian. Recomputes
/// the total mass from the table of inertias. The caller owns the object and gives it to `destroy`. Throws
/// std::bad_alloc; then nothing has been made.
KORVEL_EXPORT tesk::RigidBodySystem* create();

/// Ends an object made by `create` or by `clone`. A null pointer is accepted and ignored.
KORVEL_EXPORT void destroy(tesk::RigidBodySystem* system) noexcept;

}  // extern "C"
