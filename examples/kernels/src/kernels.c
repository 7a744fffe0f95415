// Five loops of different character, the kind a profile of real code shows.
#include <math.h>

#include "kernels.h"

// A stream: one multiply-add per element, limited by memory bandwidth.
void triad(float* restrict a, const float* restrict b, const float* restrict c, float s, int n) {
  for (int i = 0; i < n; i++)
    a[i] = b[i] + s * c[i];
}

// A call the compiler can't see into keeps the loop scalar.
void with_call(double* restrict y, int n) {
  for (int i = 0; i < n; i++)
    y[i] = transform(y[i]);
}

// An indirect access: the loads go wherever the index says.
void indirect(float* restrict y, const float* restrict x, const int* restrict idx, int n) {
  for (int i = 0; i < n; i++)
    y[i] += 2.0f * x[idx[i]];
}

// A recurrence: each element needs the one before it.
void recurrence(double* restrict x, const double* restrict b, double a, int n) {
  for (int i = 1; i < n; i++)
    x[i] = a * x[i - 1] + b[i];
}

// Divisions and square roots, which the divider unit serialises.
void normalize(double* restrict out, const double* restrict x, const double* restrict y, int n) {
  for (int i = 0; i < n; i++)
    out[i] = x[i] / sqrt(x[i] * x[i] + y[i] * y[i]);
}

// A loop nest: rows outside, a dot product inside (a reduction the compiler
// may not reorder without -ffast-math).
void matvec(double* restrict r, const double* restrict m, const double* restrict v, int rows, int cols) {
  for (int i = 0; i < rows; i++) {
    double sum = 0.0;
    for (int j = 0; j < cols; j++)
      sum += m[(long)i * cols + j] * v[j];
    r[i] = sum;
  }
}
