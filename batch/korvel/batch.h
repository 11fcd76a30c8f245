#ifndef KORVEL_BATCH_H
#define KORVEL_BATCH_H

/* clang-format off */
/* Kinematics, mass matrix, inverse dynamics and the stand on the ground, of many states of the robot at once.
 *
 * States   A state has 30 coordinates: the root's position x, y, z [m] and its angles about x, y and z [rad] of the
 *          orientation Rz Ry Rx, then 24 joint angles [rad]. Velocities are the root's linear [m/s] and angular
 *          velocity [rad/s] in its own frame, then those of the joints; accelerations are their time derivatives. All
 *          numbers are float. Results have the bits that the loadable module computes for the same coordinates, signs
 *          of zeros apart, whatever the instruction set, the layout, the number of threads and the place of a state
 *          among the others.
 * Layout   Every array says its strides, in bytes. Nothing is copied but what the layout asks for: fastest are rows,
 *          [n][numbers], with `number` 4, and tiles of sixteen states, [n / 16][numbers][16], with `state` 4, which
 *          gain a tenth where they begin at a multiple of 64 bytes. Strides may be zero or negative where numbers are
 *          read. Where they are written no two may share memory, and arrays of results must share none with each other
 *          or with arguments; only the first is checked.
 * Errors   A call returns 0, or one of korvel_batch_status and leaves a sentence in korvel_batch_error(). It then has
 *          written nothing. What is not finite in a state stays in the results of that state.
 * Threads  Calls on one object may run side by side, but for korvel_batch_set_inertia and korvel_batch_destroy. A call
 *          returns when all is done; it works on the calling thread and, with many states, on others of a common pool
 *          (oneTBB). A process that was forked off one with such an object goes on with it on the calling thread alone.
 * Memory   Calls allocate little and nothing that grows with the number of states.
 */

#include <stddef.h> /* NOLINT: this is C */

#if defined(__cplusplus)
extern "C" {
#endif

#if defined(__GNUC__)
#define KORVEL_BATCH_API __attribute__((visibility("default")))
#else
#define KORVEL_BATCH_API
#endif

/* NOLINTBEGIN(readability-identifier-naming): C has no namespaces */
enum {
  KORVEL_BATCH_BODIES = 25,
  KORVEL_BATCH_COORDINATES = 30,
  KORVEL_BATCH_MASS_ENTRIES = 240, /* entries of the mass matrix that can differ from zero, each once */
  KORVEL_BATCH_TILE = 16           /* states in a tile */
};

typedef enum korvel_batch_status {
  KORVEL_BATCH_OK = 0,
  KORVEL_BATCH_NULL = 1,            /* a pointer that is needed is null */
  KORVEL_BATCH_COUNT = 2,           /* a number of states, wrenches or threads that there cannot be */
  KORVEL_BATCH_LAYOUT = 3,          /* strides or an address that no array of floats has, or results that overlap */
  KORVEL_BATCH_BODY = 4,            /* a body that there is not, or one twice */
  KORVEL_BATCH_VALUE = 5,           /* a number that is not finite, or no mass or sole that there can be */
  KORVEL_BATCH_INSTRUCTION_SET = 6, /* an instruction set that is not known, or that this processor has not */
  KORVEL_BATCH_MEMORY = 7,          /* no memory */
  KORVEL_BATCH_SYSTEM = 8           /* the system refuses something else */
} korvel_batch_status;
/* NOLINTEND(readability-identifier-naming) */

typedef struct korvel_batch korvel_batch;

/* Numbers of n states, to read. Number k of state s stands at data + s * state + k * number, in bytes. If `tile` is not
 * 0 states stand in tiles: at data + (s / 16) * tile + (s % 16) * state + k * number. A `state` of 0 without tiles
 * gives all states the same numbers. */
typedef struct korvel_batch_input {
  const float* data;
  ptrdiff_t state;
  ptrdiff_t number;
  ptrdiff_t tile;
} korvel_batch_input;

/* The same, to be written. A null `data` says that these results are not wanted. */
typedef struct korvel_batch_output {
  float* data;
  ptrdiff_t state;
  ptrdiff_t number;
  ptrdiff_t tile;
} korvel_batch_output;

/* ---- Objects --------------------------------------------------------------------------------------------- */

/* Makes an object with the robot's own inertias.
 *   threads          at most so many work on a call, up to 1024; 0: as many as the process may use (sched_getaffinity).
 *                    While there is an object with more than there are processors, oneTBB may use as many for whatever
 *                    else the process has it do
 *   instruction_set  "baseline", "avx2" (with FMA) or "avx512"; null: that of the environment variable
 *                    KORVEL_INSTRUCTION_SET or, without it, the best that the processor has, and for few states a
 *                    narrower one
 * Writes *batch, which korvel_batch_destroy ends. */
KORVEL_BATCH_API int korvel_batch_create(korvel_batch** batch, int threads, const char* instruction_set);

/* Null is accepted and ignored. */
KORVEL_BATCH_API void korvel_batch_destroy(korvel_batch* batch);

/* What was chosen; of a null object null and 0. */
KORVEL_BATCH_API const char* korvel_batch_instruction_set(const korvel_batch* batch);
KORVEL_BATCH_API int korvel_batch_threads(const korvel_batch* batch);

/* Replaces, for this object, the mass [kg] of a body, its centre of mass x, y, z [m] in the body's frame, and its
 * rotational inertia xx, yx, yy, zx, zy, zz about the centre of mass [kg m^2]. The total mass follows as that of the
 * module does: by the difference. */
KORVEL_BATCH_API int korvel_batch_set_inertia(korvel_batch* batch, int body, float mass, const float* com,
                                              const float* inertia);

/* The sentence of the last call on this thread that returned an error; empty before. Good until the next one. */
KORVEL_BATCH_API const char* korvel_batch_error(void);

/* ---- The robot ------------------------------------------------------------------------------------------- */

/* Null for a number that names no body. The joint of a body has its name. */
KORVEL_BATCH_API const char* korvel_batch_body_name(int body);
/* Parent of a body; -1 for the root, -2 for a number that names no body. */
KORVEL_BATCH_API int korvel_batch_parent(int body);
/* Row and column, row <= column, of an entry of packed mass matrices. */
KORVEL_BATCH_API int korvel_batch_mass_entry(int entry, int* row, int* column);

/* ---- Operations ------------------------------------------------------------------------------------------ */

/* Numbers of a state:
 *   poses_root, poses_world  300: of each of 25 bodies the three rows of [R | t], in the root and in the world. The
 *                            root's own in the root is the identity
 *   com_root, com_world      3: centre of mass of the robot [m]
 *   jacobian                 180: row by row a 6 x 30 matrix, as getJacobianInRoot() of the module */
typedef struct korvel_batch_kinematics_results {
  korvel_batch_output poses_root;
  korvel_batch_output poses_world;
  korvel_batch_output com_root;
  korvel_batch_output com_world;
  korvel_batch_output jacobian;
} korvel_batch_kinematics_results;

/* Of n states with coordinates q, 30 numbers each. At least one result must be wanted. */
KORVEL_BATCH_API int korvel_batch_kinematics(const korvel_batch* batch, ptrdiff_t n, const korvel_batch_input* q,
                                             const korvel_batch_kinematics_results* results);

/* Mass matrices: `packed` with 240 numbers a state, in the order of korvel_batch_mass_entry, `dense` with 900. Either
 * may be null, or without data. */
KORVEL_BATCH_API int korvel_batch_mass(const korvel_batch* batch, ptrdiff_t n, const korvel_batch_input* q,
                                       const korvel_batch_output* packed, const korvel_batch_output* dense);

/* An external wrench on a body: force x, y, z [N], then moment [N m] about the origin of the body, both in its frame.
 * Six numbers a state. */
typedef struct korvel_batch_wrench {
  int body;
  korvel_batch_input values;
} korvel_batch_wrench;

/* Over all n states, for each of the 30 generalized forces: */
typedef struct korvel_batch_force_sums {
  float largest[KORVEL_BATCH_COORDINATES];  /* the largest magnitude; not a number if any of them is none */
  double squares[KORVEL_BATCH_COORDINATES]; /* the sum of squares, in an order that depends on n alone */
} korvel_batch_force_sums;

/* Generalized forces, 30 numbers a state, of a motion under gravity: the force [N] and the moment [N m] on the root in
 * its frame, then the torques of the joints [N m]. `forces`, or `sums`, may be null. */
KORVEL_BATCH_API int korvel_batch_dynamics(const korvel_batch* batch, ptrdiff_t n, const korvel_batch_input* q,
                                           const korvel_batch_input* dq, const korvel_batch_input* ddq,
                                           const korvel_batch_wrench* wrenches, ptrdiff_t wrench_count,
                                           const korvel_batch_output* forces, korvel_batch_force_sums* sums);

/* ---- On the ground --------------------------------------------------------------------------------------- */

/* A flat, convex part of a body that may stand on the ground: its corners x, y, z [m] in the body's frame, one after the
 * other, at least three, in any order; and the friction of the ground against it. */
typedef struct korvel_batch_sole {
  int body;
  float friction;
  const float* corners;
  ptrdiff_t corner_count;
} korvel_batch_sole;

/* Level ground at a height [m] in the world, and what may stand on it; at most one sole a body. */
typedef struct korvel_batch_ground {
  float height;
  const korvel_batch_sole* soles;
  ptrdiff_t sole_count;
  /* A number of each sole in each state: its share in the load, 1 where it stands, 0 where it is lifted, and between
   * them just after touchdown or before lift-off. Above 1 is 1, below 0 or not a number is 0. Without data, a sole
   * stands while its lowest corner is at most 0.005 m above the ground and slower than 0.05 m/s. */
  korvel_batch_input contact;
} korvel_batch_ground;

/* What the ground does in a state, or why it cannot do what the motion requires. */
/* NOLINTBEGIN(readability-identifier-naming): as above */
typedef enum korvel_batch_verdict {
  KORVEL_BATCH_STANDS = 0,
  KORVEL_BATCH_NOTHING_BEARS = 1, /* no sole stands on the ground */
  KORVEL_BATCH_NEEDS_PULL = 2,    /* the ground would have to pull */
  KORVEL_BATCH_TIPS = 3,          /* the zero moment point is outside of the support polygon */
  KORVEL_BATCH_SLIPS = 4          /* more friction is needed than there is */
} korvel_batch_verdict;
/* NOLINTEND(readability-identifier-naming) */

/* Numbers of a state; world axes, positions in the world. Of a state that is not finite they are none.
 *   forces      30: generalized forces as of korvel_batch_dynamics, with what the ground does. The first six are what
 *               it cannot bear: hardly anything where the robot stands
 *   loads       6 a sole: force [N] on its body, then moment [N m] about the body's origin; 0 where it is lifted
 *   pressure    2 a sole: centre of pressure x, y [m]; the sole's centre without load
 *   zmp         2: zero moment point x, y [m]; below the centre of mass where hardly anything is required
 *   zmp_margin  1: from that point to the edge of the support polygon [m], negative outside; 0 if nothing bears
 *   residual    1: what the ground cannot bear, as a share of the weight, moments by 0.1 m; above 0.001 it does not stand
 *   verdict     1: a korvel_batch_verdict */
typedef struct korvel_batch_stand_results {
  korvel_batch_output forces;
  korvel_batch_output loads;
  korvel_batch_output pressure;
  korvel_batch_output zmp;
  korvel_batch_output zmp_margin;
  korvel_batch_output residual;
  korvel_batch_output verdict;
} korvel_batch_stand_results;

/* Over all n states. */
typedef struct korvel_batch_stand_sums {
  korvel_batch_force_sums forces;
  float least_margin;  /* of the zero moment point [m]; not a number if any is none */
  ptrdiff_t unbearable; /* states that do not stand, those that are not finite among them */
} korvel_batch_stand_sums;

/* Distributes over the soles what a motion requires of the ground, within round friction cones: of all forces at the
 * corners that give it those of least norm, each corner as compliant as its sole is near the zero moment point, times
 * its share. Where several soles could bear a load, that is a choice. Where the ground cannot, the forces are the
 * nearest that it can. `results`, or `sums`, may be null. Some microseconds a state. */
KORVEL_BATCH_API int korvel_batch_stand(const korvel_batch* batch, ptrdiff_t n, const korvel_batch_input* q,
                                        const korvel_batch_input* dq, const korvel_batch_input* ddq,
                                        const korvel_batch_ground* ground, const korvel_batch_stand_results* results,
                                        korvel_batch_stand_sums* sums);

#if defined(__cplusplus)
}
#endif
/* clang-format on */

#endif
