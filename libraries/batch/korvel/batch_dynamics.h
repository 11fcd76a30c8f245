#ifndef KORVEL_BATCH_DYNAMICS_H
#define KORVEL_BATCH_DYNAMICS_H

// Derivatives of inverse dynamics, forward dynamics, momentum and jacobians of points, for many states of the robot.
// batch.h describes states, layouts, errors and threads; they are the same here.
//
// Derivatives by the root's position are taken along and about the axes of the root's own frame: column 0 to 2 for a
// root that moves along them [1/m], which changes no force, and column 3 to 5 for a root that turns about them [1/rad].
// They are not derivatives by roll, pitch and yaw. Wrenches stay as they are in the frames of their bodies.

#include "batch.h"

#if defined(__cplusplus)
extern "C" {
#endif

// NOLINTBEGIN(readability-identifier-naming): as in batch.h
enum {
  KORVEL_BATCH_JOINTS = 24,
  KORVEL_BATCH_POSITION_ENTRIES = 360,  // derivatives by position that can differ from zero
  KORVEL_BATCH_VELOCITY_ENTRIES = 450   // the same by velocity
};
// NOLINTEND(readability-identifier-naming)

// Writes row (force) and column (coordinate) of an entry of packed derivatives: by velocity, or else by position.
// Entries are in row-major order, which is the order of CSR matrices.
KORVEL_BATCH_API int korvel_batch_derivative_entry(int of_velocity, int entry, int* row, int* column);

// Numbers of a state:
//   forces           30: the generalized forces, as those of korvel_batch_dynamics without armature
//   position_packed  360: their derivatives by position, in the order of korvel_batch_derivative_entry
//   velocity_packed  450: the same by velocity
//   position         900: derivatives by position row by row, 30 for each force
//   velocity         900: the same by velocity
typedef struct korvel_batch_derivative_results {
  korvel_batch_output forces;
  korvel_batch_output position_packed;
  korvel_batch_output velocity_packed;
  korvel_batch_output position;
  korvel_batch_output velocity;
} korvel_batch_derivative_results;

// Computes derivatives of the generalized forces of a motion. Their derivative by acceleration is the mass matrix. At
// least one result must have data.
KORVEL_BATCH_API int korvel_batch_dynamics_derivatives(const korvel_batch* batch, ptrdiff_t n,
                                                       const korvel_batch_input* q, const korvel_batch_input* dq,
                                                       const korvel_batch_input* ddq,
                                                       const korvel_batch_wrench* wrenches, ptrdiff_t wrench_count,
                                                       const korvel_batch_derivative_results* results);

// Thirty numbers of a state each: the generalized forces, and weights times their derivatives.
typedef struct korvel_batch_gradient_results {
  korvel_batch_output forces;
  korvel_batch_output by_q;
  korvel_batch_output by_dq;
  korvel_batch_output by_ddq;
} korvel_batch_gradient_results;

// Computes the gradient of the sum of forces times `weights`, 30 numbers a state. For a cost that depends on the
// forces, the weights are its derivatives by them. At least one result must have data.
KORVEL_BATCH_API int korvel_batch_dynamics_gradient(const korvel_batch* batch, ptrdiff_t n, const korvel_batch_input* q,
                                                    const korvel_batch_input* dq, const korvel_batch_input* ddq,
                                                    const korvel_batch_input* weights,
                                                    const korvel_batch_wrench* wrenches, ptrdiff_t wrench_count,
                                                    const korvel_batch_gradient_results* results);

// Thirty numbers of a state each: accelerations, and the residual of the equation of motion, which is `forces` less the
// forces that inverse dynamics gives for these accelerations.
typedef struct korvel_batch_forward_results {
  korvel_batch_output ddq;
  korvel_batch_output residual;
} korvel_batch_forward_results;

// Computes the accelerations that generalized forces cause, without contact with the ground. `armature` has the rotor
// inertia of each joint [kg m^2], 24 numbers for all states; null: none. The wrists of this robot have 2e-6 kg m^2, so
// that without armature single precision leaves errors of a percent of the largest acceleration in the median, and more
// than its size in the worst case. A servo's rotor behind its gear has 1e-4 kg m^2 or more, which leaves 1e-4. Read the
// residual if you compute without. At least one result must have data.
KORVEL_BATCH_API int korvel_batch_forward_dynamics(const korvel_batch* batch, ptrdiff_t n, const korvel_batch_input* q,
                                                   const korvel_batch_input* dq, const korvel_batch_input* forces,
                                                   const korvel_batch_wrench* wrenches, ptrdiff_t wrench_count,
                                                   const float* armature, const korvel_batch_forward_results* results);

// Numbers of a state, about the robot's centre of mass and in world axes, angular before linear:
//   matrix    180: the centroidal momentum matrix, row by row 6 x 30, without armature
//   momentum  6: the matrix times dq [kg m^2/s, kg m/s]
//   rate      6: its time derivative for the accelerations ddq [N m, N]: the sum of all wrenches, gravity included
//   bias      6: the same for accelerations of zero
typedef struct korvel_batch_momentum_results {
  korvel_batch_output matrix;
  korvel_batch_output momentum;
  korvel_batch_output rate;
  korvel_batch_output bias;
} korvel_batch_momentum_results;

// Computes the momentum of the whole robot. `ddq` may be null if no rate is requested. At least one result must have
// data.
KORVEL_BATCH_API int korvel_batch_momentum(const korvel_batch* batch, ptrdiff_t n, const korvel_batch_input* q,
                                           const korvel_batch_input* dq, const korvel_batch_input* ddq,
                                           const korvel_batch_momentum_results* results);

// A point that is fixed in a body, in its frame [m], and where its results go. Numbers of a state, in world axes,
// angular before linear:
//   jacobian  180: row by row 6 x 30, the velocity of the body and of the point per unit of each velocity
//   bias      6: the acceleration of the body and of the point for accelerations of zero [rad/s^2, m/s^2]
typedef struct korvel_batch_point {
  int body;
  float place[3];
  korvel_batch_output jacobian;
  korvel_batch_output bias;
} korvel_batch_point;

// Computes jacobians of points. `dq` may be null if no bias is requested. Each point must have a result with data.
KORVEL_BATCH_API int korvel_batch_body_jacobians(const korvel_batch* batch, ptrdiff_t n, const korvel_batch_input* q,
                                                 const korvel_batch_input* dq, const korvel_batch_point* points,
                                                 ptrdiff_t point_count);

#if defined(__cplusplus)
}
#endif

#endif
