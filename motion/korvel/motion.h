#ifndef KORVEL_MOTION_H
#define KORVEL_MOTION_H

/* clang-format off */
/* Motion files as states of the robot, for korvel/batch.h.
 *
 * Files    CSV as `korvel-host run` reads it: a header, a row for each sample, `time` [s], the root's x, y, z [m] and
 *          roll, pitch, yaw [rad] or a quaternion qw, qx, qy, qz, joint angles [rad] by name, in any order; what is
 *          missing is 0. Velocities and accelerations are those of a cubic spline through the samples, or near them.
 * States   To the bit what `korvel-host run` gives to the module, in the coordinates of korvel/batch.h: 30 numbers a
 *          sample, those of the root first, rates of the root in its own frame.
 * Errors   A call returns 0, or one of korvel_motion_status and leaves a sentence in korvel_motion_error(), with file
 *          and line where a file is at fault. It then has written nothing, unless memory ran out while it copied.
 * Threads  Calls may run side by side on different objects, not on one.
 * Memory   An object keeps the samples, in double precision, and splines of a stretch of them.
 */

#include <stddef.h> /* NOLINT: this is C */

#if defined(__cplusplus)
extern "C" {
#endif

#if defined(__GNUC__)
#define KORVEL_MOTION_API __attribute__((visibility("default")))
#else
#define KORVEL_MOTION_API
#endif

/* NOLINTBEGIN(readability-identifier-naming): C has no namespaces */
enum { KORVEL_MOTION_COORDINATES = 30 };

typedef enum korvel_motion_status {
  KORVEL_MOTION_OK = 0,
  KORVEL_MOTION_NULL = 1,   /* a pointer that is needed is null */
  KORVEL_MOTION_FILE = 2,   /* a file that cannot be read, or is no motion */
  KORVEL_MOTION_CUTOFF = 3, /* a cutoff that there cannot be */
  KORVEL_MOTION_MEMORY = 4  /* no memory */
} korvel_motion_status;
/* NOLINTEND(readability-identifier-naming) */

typedef struct korvel_motion korvel_motion;

/* Reads a file.
 *   path    as the system has it, ending in a null character
 *   cutoff  0: the spline goes through the samples; otherwise the frequency [Hz] of which it leaves half the power, for
 *           samples that were measured, or rounded to few decimals
 * Writes *motion, which korvel_motion_destroy ends. */
KORVEL_MOTION_API int korvel_motion_read(korvel_motion** motion, const char* path, double cutoff);

/* Null is accepted and ignored. */
KORVEL_MOTION_API void korvel_motion_destroy(korvel_motion* motion);

/* Number n of samples, at least 1; of a null object 0. */
KORVEL_MOTION_API ptrdiff_t korvel_motion_count(const korvel_motion* motion);

/* Copies all samples: times [s] as the file has them, n numbers; coordinates, velocities and accelerations, n rows of
 * 30 numbers without gaps. What is null is not wanted. */
KORVEL_MOTION_API int korvel_motion_samples(korvel_motion* motion, double* time, float* q, float* dq, float* ddq);

/* The sentence of the last call on this thread that returned an error; empty before. Good until the next one. */
KORVEL_MOTION_API const char* korvel_motion_error(void);

#if defined(__cplusplus)
}
#endif
/* clang-format on */

#endif
