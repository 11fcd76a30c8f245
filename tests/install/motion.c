/* Reads a motion with the installed library: the root of the first sample is where the file says. */

#include <korvel/motion.h>
#include <stdio.h>
#include <stdlib.h>

int main(int argc, char** argv) {
  korvel_motion* motion = NULL;
  if (argc != 2 || korvel_motion_read(&motion, argv[1], 0) != KORVEL_MOTION_OK) {
    fprintf(stderr, "%s\n", korvel_motion_error());
    return 1;
  }
  const size_t n = (size_t)korvel_motion_count(motion);
  float* q = malloc(n * KORVEL_MOTION_COORDINATES * sizeof(float));
  if (q == NULL || korvel_motion_samples(motion, NULL, q, NULL, NULL) != KORVEL_MOTION_OK) return 1;
  printf("%lu samples, first at a height of %g m\n", (unsigned long)n, (double)q[2]);
  const int is_there = n == 601 && q[2] == 0.325F && korvel_motion_read(&motion, "nowhere.csv", 0) == KORVEL_MOTION_FILE;
  free(q);
  korvel_motion_destroy(motion);
  return is_there ? 0 : 1;
}
