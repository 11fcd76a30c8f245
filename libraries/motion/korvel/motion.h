#ifndef KORVEL_MOTION_H
#define KORVEL_MOTION_H

// This library reads motion files and files of soles for korvel/batch.h, and differentiates motions.
//
// Files    Motions are CSV as `korvel-host run` reads it: a header and a row for each sample, with the columns
//          `time` [s], the root's x, y, z [m] and roll, pitch, yaw [rad] or a quaternion qw, qx, qy, qz, and joint
//          angles [rad] by name, in any order. Missing columns are 0. Velocities and accelerations are those of a
//          cubic spline through the samples, or near them. A column BODY_contact, 0 or 1, says when the sole of a body
//          is in contact.
// States   States are bit-identical to those that `korvel-host run` passes to the module, in the coordinates of
//          korvel/batch.h: 30 numbers a sample, the root first, with rates of the root in its own frame.
// Errors   A call returns 0 or a korvel_motion_status; korvel_motion_error() then returns a sentence, with file and
//          line if a file is at fault. The call has then written nothing, unless memory ran out while it copied.
// Language C99 or later, and C++.
// Threads  Calls may run in parallel on different objects, but not on one object.
// Memory   An object keeps the samples in double precision, and splines of a part of them.

#include <stddef.h>  // NOLINT: this is C

#if defined(__cplusplus)
extern "C" {
#endif

#if defined(__GNUC__)
#define KORVEL_MOTION_API __attribute__((visibility("default")))
#else
#define KORVEL_MOTION_API
#endif

// NOLINTBEGIN(readability-identifier-naming): C has no namespaces
enum { KORVEL_MOTION_COORDINATES = 30 };

typedef enum korvel_motion_status {
  KORVEL_MOTION_OK = 0,
  KORVEL_MOTION_NULL = 1,    // a required pointer is null
  KORVEL_MOTION_FILE = 2,    // a file that cannot be read, or is no motion or file of soles; unusable samples
  KORVEL_MOTION_CUTOFF = 3,  // an invalid cutoff
  KORVEL_MOTION_MEMORY = 4,  // memory ran out
  KORVEL_MOTION_BODY = 5     // no such body
} korvel_motion_status;
// NOLINTEND(readability-identifier-naming)

typedef struct korvel_motion korvel_motion;

// Reads a motion file.
//   path    path of the file, ending in a null character
//   cutoff  0: the spline goes through the samples; otherwise the frequency [Hz] at which the filter leaves half of the
//           power, for samples that were measured or rounded to few decimals
// Writes *motion; the caller ends the object with korvel_motion_destroy.
KORVEL_MOTION_API int korvel_motion_read(korvel_motion** motion, const char* path, double cutoff);

// Makes a motion of n samples in memory: times [s], which increase, and coordinates, n rows of 30 numbers without gaps;
// cutoff as above. They are copied. An unusable sample is an error of KORVEL_MOTION_FILE that names its number, from 0.
// Writes *motion; the caller ends the object with korvel_motion_destroy.
KORVEL_MOTION_API int korvel_motion_of(korvel_motion** motion, ptrdiff_t n, const double* time, const double* q,
                                       double cutoff);

// Null is accepted and ignored.
KORVEL_MOTION_API void korvel_motion_destroy(korvel_motion* motion);

// Returns the number n of samples, at least 1; 0 for a null object.
KORVEL_MOTION_API ptrdiff_t korvel_motion_count(const korvel_motion* motion);

// Copies all samples: times [s] as the file has them, n numbers; coordinates, velocities and accelerations, n rows of
// 30 numbers without gaps. Null arrays are not written.
KORVEL_MOTION_API int korvel_motion_samples(korvel_motion* motion, double* time, float* q, float* dq, float* ddq);

// Writes the share of a body's sole in the load, a number for each sample, as korvel_batch_ground takes it: 1 while the
// sole is in contact, 0 while it is lifted, and between them within 0.1 s after touchdown and before lift-off. The file
// gives it in the column BODY_contact. Without that column every number is NaN, and korvel_batch_stand decides.
KORVEL_MOTION_API int korvel_motion_contact(const korvel_motion* motion, int body, float* share);

// A corner of a sole: the number of its body, as in korvel/batch.h; x, y, z in the frame of the body [m]; the friction
// of the ground against the sole.
typedef struct korvel_motion_corner {
  int body;
  double place[3];
  double friction;
} korvel_motion_corner;

// Reads a file of soles as `korvel-host run --soles` does: CSV with a header, the columns body, x, y, z and friction in
// any order, and a row for each corner.
//   path      path of the file, ending in a null character
//   capacity  largest number of corners to write; with 0 `corners` may be null
// Writes *count, the number of corners in the file, which is at least 3. The corners of a body follow each other around
// its sole, and the bodies have the order of their numbers.
KORVEL_MOTION_API int korvel_motion_read_soles(const char* path, korvel_motion_corner* corners, ptrdiff_t capacity,
                                               ptrdiff_t* count);

// Returns the version of the library, such as "0.1.0".
KORVEL_MOTION_API const char* korvel_motion_version(void);

// Returns the sentence of the last call on this thread that returned an error, or an empty string. It is valid until
// the next error.
KORVEL_MOTION_API const char* korvel_motion_error(void);

#if defined(__cplusplus)
}
#endif

#endif
