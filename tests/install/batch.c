/* Holds up ten robots at rest with the installed library: the force on the root is their weight. */

#include <korvel/batch.h>
#include <stdio.h>

enum { n = 10 };

int main(void) {
  static float zero[KORVEL_BATCH_COORDINATES];
  static float forces[n][KORVEL_BATCH_COORDINATES];
  const korvel_batch_input rest = {zero, 0, sizeof(float), 0};
  const korvel_batch_output out = {forces[0], sizeof forces[0], sizeof(float), 0};
  korvel_batch* batch = NULL;
  if (korvel_batch_create(&batch, 0, NULL) != KORVEL_BATCH_OK ||
      korvel_batch_dynamics(batch, n, &rest, &rest, &rest, NULL, 0, NULL, &out, NULL) != KORVEL_BATCH_OK) {
    fprintf(stderr, "%s\n", korvel_batch_error());
    return 1;
  }
  printf("%s, %d threads: %g N\n", korvel_batch_instruction_set(batch), korvel_batch_threads(batch),
         (double)forces[n - 1][2]);
  korvel_batch_destroy(batch);
  return forces[n - 1][2] > 40 && forces[n - 1][2] < 70 && forces[0][2] == forces[n - 1][2] ? 0 : 1;
}
