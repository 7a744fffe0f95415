// Runs each kernel in turn. The argument scales the work: 1 takes about a
// second here; the tests run it with less.
#include <stdio.h>
#include <stdlib.h>

#include "kernels.h"

enum { N = 1 << 16, ROWS = 256, COLS = 1024 };

static float fa[N], fb[N], fc[N];
static double da[N], db[N], dc[N], matrix[ROWS * COLS], vec[COLS], res[ROWS];
static int idx[N];

int main(int argc, char** argv) {
  double scale = argc > 1 ? atof(argv[1]) : 1.0;
  int reps = (int)(2000 * scale);
  if (reps < 1) reps = 1;
  unsigned seed = 12345;
  for (int i = 0; i < N; i++) {
    seed = seed * 1103515245u + 12345u;
    idx[i] = (int)(seed >> 8) % N;
    fb[i] = (float)i;
    fc[i] = 1.0f / (float)(i + 1);
    da[i] = 1.0;
    db[i] = 0.5 / (i + 1);
    dc[i] = (double)(i % 7);
  }
  for (int i = 0; i < ROWS * COLS; i++) matrix[i] = (double)(i % 13) * 0.25;
  for (int j = 0; j < COLS; j++) vec[j] = 1.0 / (j + 1);

  for (int r = 0; r < reps; r++) {
    triad(fa, fb, fc, 1.5f, N);
    with_call(da, N);
    indirect(fa, fb, idx, N);
    recurrence(db, dc, 0.5, N);
    normalize(dc, da, db, N);
    matvec(res, matrix, vec, ROWS, COLS);
  }
  printf("%g %g %g %g\n", fa[7], da[7], dc[7], res[7]);
  return 0;
}
