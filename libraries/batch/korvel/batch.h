#ifndef KORVEL_BATCH_H
#define KORVEL_BATCH_H

// This library computes kinematics, mass matrices, inverse dynamics and ground contact for many states of the robot.
//
// States   A state has 30 coordinates: the root's position x, y, z [m] and its angles about x, y and z [rad] of the
//          orientation Rz Ry Rx, then 24 joint angles [rad]. Velocities are the root's linear [m/s] and angular
//          velocity [rad/s] in its own frame, then those of the joints; accelerations are their time derivatives. All
//          numbers are float. Results are bit-identical to those of the loadable module for the same coordinates,
//          except for signs of zeros. They do not depend on the instruction set, the layout, the number of threads
//          or the position of a state among the others. This requires that the calling thread and the thread that made
//          the object round to nearest and keep denormal numbers, as every thread does at its start.
// Layout   Every array is described by its strides in bytes. Fastest are rows, [n][numbers], with `number` 4, and tiles
//          of sixteen states, [n / 16][numbers][16], with `state` 4, which are a tenth faster if they begin at a
//          multiple of 64 bytes. Strides of arguments may be zero or negative. No two numbers of a result may share
//          memory, and results must not overlap each other or arguments; the library checks the first rule only.
// Errors   A call returns 0 or a korvel_batch_status; korvel_batch_error() then returns a sentence. A call that
//          returns an error has written nothing, with one exception: korvel_batch_stand allocates while it computes,
//          and may have written part of its results when it returns KORVEL_BATCH_MEMORY. Numbers that are not finite
//          affect only the results of their own state.
// Threads  korvel_batch_create makes an object's threads, and korvel_batch_destroy waits for their end. If the system
//          grants fewer threads, the object works with those, or on the calling thread alone. Calls on one object may
//          run in parallel, except for korvel_batch_destroy. A call keeps the inertias that the object had when the
//          call started. A call works on the calling thread and, if there are many states, on the threads of the
//          object, which have 512 KB of stack each and block all signals. Signal handlers must not call this library,
//          and no thread may be cancelled in a call.
// Forks    A forked child computes with its parent's objects on the calling thread alone. Objects that it makes itself
//          have threads.
// Memory   Calls allocate less than half a megabyte per thread for any number of states, korvel_batch_stand 24 KB more
//          for each corner, and need at most 256 KB of the calling thread's stack. The library stays in memory after
//          dlclose(), so that objects that were not destroyed do no harm.

#include <stddef.h>  // NOLINT: this is C

#if defined(__cplusplus)
extern "C" {
#endif

#if defined(__GNUC__)
#define KORVEL_BATCH_API __attribute__((visibility("default")))
#else
#define KORVEL_BATCH_API
#endif

// NOLINTBEGIN(readability-identifier-naming): C has no namespaces
enum {
  KORVEL_BATCH_BODIES = 25,
  KORVEL_BATCH_COORDINATES = 30,
  KORVEL_BATCH_MASS_ENTRIES = 240,  // entries of the mass matrix that can differ from zero, each once
  KORVEL_BATCH_TILE = 16,           // states in a tile
  KORVEL_BATCH_INERTIA_NUMBERS = 10 * KORVEL_BATCH_BODIES + 1
};

typedef enum korvel_batch_status {
  KORVEL_BATCH_OK = 0,
  KORVEL_BATCH_NULL = 1,             // a required pointer is null
  KORVEL_BATCH_COUNT = 2,            // an invalid number of states (1 to 2^48), wrenches or threads
  KORVEL_BATCH_LAYOUT = 3,           // strides or an address that no array of floats has, or overlapping results
  KORVEL_BATCH_BODY = 4,             // no such body, or a body named twice
  KORVEL_BATCH_VALUE = 5,            // a number that is not finite, or an invalid mass or sole
  KORVEL_BATCH_INSTRUCTION_SET = 6,  // an unknown instruction set, or one that this processor does not support
  KORVEL_BATCH_MEMORY = 7,           // memory ran out
  KORVEL_BATCH_SYSTEM = 8            // another error of the system
} korvel_batch_status;
// NOLINTEND(readability-identifier-naming)

typedef struct korvel_batch korvel_batch;

// Describes an array of numbers of n states. Number k of state s is at data + s * state + k * number, in bytes. If
// `tile` is not 0, states are in tiles: number k is at data + (s / 16) * tile + (s % 16) * state + k * number. A
// `state` of 0 without tiles gives all states the same numbers.
typedef struct korvel_batch_input {
  const float* data;
  ptrdiff_t state;
  ptrdiff_t number;
  ptrdiff_t tile;
} korvel_batch_input;

// Describes an array to write in the same way. If `data` is null, these results are not computed.
typedef struct korvel_batch_output {
  float* data;
  ptrdiff_t state;
  ptrdiff_t number;
  ptrdiff_t tile;
} korvel_batch_output;

// ---- Objects ---------------------------------------------------------------------------------------------

// Makes an object with the robot's own inertias.
//   threads          largest number of threads that work on a call, the calling thread included, up to 1024; 0: as many
//                    as the process may use (sched_getaffinity). korvel_batch_threads returns how many there are, which
//                    is fewer if the system grants no more
//   instruction_set  "baseline", "avx2" (with FMA) or "avx512"; null: the value of the environment variable
//                    KORVEL_INSTRUCTION_SET or, if it is not set, the best of this processor, and a narrower one for
//                    few states
// Writes *batch; the caller ends the object with korvel_batch_destroy.
KORVEL_BATCH_API int korvel_batch_create(korvel_batch** batch, int threads, const char* instruction_set);

// Null is accepted and ignored.
KORVEL_BATCH_API void korvel_batch_destroy(korvel_batch* batch);

// Return the instruction set and the number of threads of an object; null and 0 for a null object.
KORVEL_BATCH_API const char* korvel_batch_instruction_set(const korvel_batch* batch);
KORVEL_BATCH_API int korvel_batch_threads(const korvel_batch* batch);

// Replaces, for this object, the mass [kg] of a body, its centre of mass x, y, z [m] in the body's frame, and its
// rotational inertia xx, yx, yy, zx, zy, zz about the centre of mass [kg m^2]. The total mass follows as that of the
// module does, by adding the difference, which rounds. The call returns KORVEL_BATCH_VALUE and changes nothing if an
// inertia about the origin of the body would not be finite, or if the total would differ by more than a thousandth from
// the sum of all masses, as after a mass of 1e9 kg; make a new object then.
KORVEL_BATCH_API int korvel_batch_set_inertia(korvel_batch* batch, int body, float mass, const float* com,
                                              const float* inertia);

// Copy all inertias of an object to KORVEL_BATCH_INERTIA_NUMBERS numbers, and from them. An object that gets them from
// another one computes bit-identical results. The numbers are, for each body, the mass [kg], the first moment x, y, z
// [kg m] and the rotational inertia xx, yx, yy, zx, zy, zz about the origin of the body [kg m^2]; then the total mass
// [kg], which must be the sum of the masses within a thousandth.
KORVEL_BATCH_API int korvel_batch_get_inertias(const korvel_batch* batch, float* numbers);
KORVEL_BATCH_API int korvel_batch_set_inertias(korvel_batch* batch, const float* numbers);

// Returns the version of the library, such as "0.1.0".
KORVEL_BATCH_API const char* korvel_batch_version(void);

// Returns the sentence of the last call on this thread that returned an error, or an empty string. It is valid until
// the next error.
KORVEL_BATCH_API const char* korvel_batch_error(void);

// ---- The robot -------------------------------------------------------------------------------------------

// Returns the name of a body, which is also that of its joint; null if there is no such body.
KORVEL_BATCH_API const char* korvel_batch_body_name(int body);
// Returns the parent of a body; -1 for the root, -2 if there is no such body.
KORVEL_BATCH_API int korvel_batch_parent(int body);
// Writes row and column, row <= column, of an entry of packed mass matrices.
KORVEL_BATCH_API int korvel_batch_mass_entry(int entry, int* row, int* column);

// ---- Operations ------------------------------------------------------------------------------------------

// Numbers of a state:
//   poses_root, poses_world  12 a body: the three rows of [R | t], in the root and in the world. The root's own pose in
//                            the root is the identity
//   com_root, com_world      3: centre of mass of the robot [m]
//   jacobian                 180: row by row a 6 x 30 matrix, as getJacobianInRoot() of the module
// The poses are those of the body_count bodies whose numbers `bodies` lists, in this order; null: of all 25.
typedef struct korvel_batch_kinematics_results {
  korvel_batch_output poses_root;
  korvel_batch_output poses_world;
  korvel_batch_output com_root;
  korvel_batch_output com_world;
  korvel_batch_output jacobian;
  const int* bodies;
  ptrdiff_t body_count;
} korvel_batch_kinematics_results;

// Computes kinematics of n states with coordinates q, 30 numbers each. At least one result must have data.
KORVEL_BATCH_API int korvel_batch_kinematics(const korvel_batch* batch, ptrdiff_t n, const korvel_batch_input* q,
                                             const korvel_batch_kinematics_results* results);

// Computes mass matrices: `packed` with 240 numbers a state, in the order of korvel_batch_mass_entry, `dense` with 900.
// Either may be null or without data. `armature` has the rotor inertia of each of 24 joints [kg m^2], which is added to
// the diagonal; null: none.
KORVEL_BATCH_API int korvel_batch_mass(const korvel_batch* batch, ptrdiff_t n, const korvel_batch_input* q,
                                       const float* armature, const korvel_batch_output* packed,
                                       const korvel_batch_output* dense);

// An external wrench on a body: force x, y, z [N], then moment [N m] about the origin of the body, both in its frame.
// Six numbers a state.
typedef struct korvel_batch_wrench {
  int body;
  korvel_batch_input values;
} korvel_batch_wrench;

// Sums over all n states for each of the 30 generalized forces.
typedef struct korvel_batch_force_sums {
  float largest[KORVEL_BATCH_COORDINATES];   // the largest magnitude; NaN if any force is NaN
  double squares[KORVEL_BATCH_COORDINATES];  // the sum of squares, in an order that depends on n alone
} korvel_batch_force_sums;

// Computes the generalized forces of a motion under gravity, 30 numbers a state: the force [N] and the moment [N m] on
// the root in its frame, then the torques of the joints [N m]. `armature` adds the torque that accelerates rotors, as
// in korvel_batch_mass; null: none. `forces` or `sums` may be null.
KORVEL_BATCH_API int korvel_batch_dynamics(const korvel_batch* batch, ptrdiff_t n, const korvel_batch_input* q,
                                           const korvel_batch_input* dq, const korvel_batch_input* ddq,
                                           const korvel_batch_wrench* wrenches, ptrdiff_t wrench_count,
                                           const float* armature, const korvel_batch_output* forces,
                                           korvel_batch_force_sums* sums);

// ---- On the ground ---------------------------------------------------------------------------------------

// A flat, convex part of a body that may be in contact with the ground. Its corners x, y, z [m] in the body's frame
// follow each other, at least three, in any order. `friction` is the friction coefficient.
typedef struct korvel_batch_sole {
  int body;
  float friction;
  const float* corners;
  ptrdiff_t corner_count;
} korvel_batch_sole;

// Level ground at a height [m] in the world, and the soles that may touch it; at most one sole per body.
typedef struct korvel_batch_ground {
  float height;
  const korvel_batch_sole* soles;
  ptrdiff_t sole_count;
  // The share of each sole in the load, in each state: 1 in contact, 0 lifted, and between them just after touchdown or
  // before lift-off. Larger shares count as 1, negative ones as 0. If a share is NaN, or without data, a sole is in
  // contact while its lowest corner is at most 0.005 m above the ground and slower than 0.05 m/s.
  korvel_batch_input contact;
} korvel_batch_ground;

// Whether the ground can supply what the motion requires, or why not. It can in the first case and in the last: a robot
// in free fall requires nothing of the ground.
//
// NOLINTBEGIN(readability-identifier-naming): as above
typedef enum korvel_batch_verdict {
  KORVEL_BATCH_STANDS = 0,
  KORVEL_BATCH_NOTHING_BEARS = 1,  // no sole is in contact, and the motion requires a force
  KORVEL_BATCH_NEEDS_PULL = 2,     // the ground would have to pull
  KORVEL_BATCH_TIPS = 3,           // the zero moment point is outside the support polygon
  KORVEL_BATCH_SLIPS = 4,          // the required friction exceeds the friction coefficient
  KORVEL_BATCH_IN_FLIGHT = 5       // no sole is in contact, and the motion requires no force
} korvel_batch_verdict;
// NOLINTEND(readability-identifier-naming)

// Numbers of a state, in world axes, with positions in the world. They are NaN for a state with a non-finite input.
//   forces      30: generalized forces as of korvel_batch_dynamics, with the forces of the ground. The first six are
//               the part that the ground cannot supply, which is near zero where the robot stands
//   loads       6 a sole: force [N] on its body, then moment [N m] about the body's origin; 0 for a lifted sole
//   pressure    2 a sole: centre of pressure x, y [m]; the sole's centre without load
//   zmp         2: zero moment point x, y [m]; below the centre of mass if almost no force is required
//   zmp_margin  1: from that point to the edge of the support polygon [m], negative outside; 0 without contact
//   residual    1: the unsupported weight as a share of the robot's weight, moments divided by 0.1 m; above 0.001 it is
//               more than rounding, and the verdict says why
//   verdict     1: a korvel_batch_verdict
typedef struct korvel_batch_stand_results {
  korvel_batch_output forces;
  korvel_batch_output loads;
  korvel_batch_output pressure;
  korvel_batch_output zmp;
  korvel_batch_output zmp_margin;
  korvel_batch_output residual;
  korvel_batch_output verdict;
} korvel_batch_stand_results;

// Sums over all n states.
typedef struct korvel_batch_stand_sums {
  korvel_batch_force_sums forces;
  float least_margin;    // of the zero moment point [m]; NaN if any is NaN
  ptrdiff_t unbearable;  // number of states that the ground cannot support or that are not finite; states in flight do
                         // not count
} korvel_batch_stand_sums;

// Distributes the wrench that a motion requires over the soles in contact, within circular friction cones. Among all
// corner forces that produce it these are the ones of least norm; the compliance of a corner grows with the share of
// its sole and as the zero moment point nears it. Mechanics does not determine how several soles share a load: this is
// a choice. If the ground cannot supply the wrench, the forces come as near to it as possible. `results` or `sums` may
// be null. The call takes about 1 us per state.
KORVEL_BATCH_API int korvel_batch_stand(const korvel_batch* batch, ptrdiff_t n, const korvel_batch_input* q,
                                        const korvel_batch_input* dq, const korvel_batch_input* ddq,
                                        const korvel_batch_ground* ground, const korvel_batch_stand_results* results,
                                        korvel_batch_stand_sums* sums);

#if defined(__cplusplus)
}
#endif

#endif
