// Loops of known verdicts for the compiler record readers: each one is
// vectorized, blocked or replaced for a reason both compilers name.
void opaque(float *p);
void saxpy(float *restrict y, const float *restrict x, float a, int n) {
  for (int i = 0; i < n; i++)
    y[i] += a * x[i];
}
void with_call(float *y, int n) {
  for (int i = 0; i < n; i++)
    opaque(&y[i]);
}
void indirect(double *restrict y, const double *restrict x, const int *idx, int n) {
  for (int i = 0; i < n; i++)
    y[i] += 2 * x[idx[i]];
}
void recur(double *a, int n) {
  for (int i = 1; i < n; i++)
    a[i] = a[i - 1] * 0.5 + a[i];
}
void zero(double *a, int n) {
  for (int i = 0; i < n; i++)
    a[i] = 0;
}
void maybe_alias(float *a, float *b, int n) {
  for (int i = 0; i < n; i++)
    a[i] = b[i] + 1.0f;
}
double sum(const double *a, int n) {
  double s = 0;
  for (int i = 0; i < n; i++) s += a[i];
  return s;
}
void nest(float (*m)[64], int n) {
  for (int j = 0; j < n; j++)
    for (int i = 0; i < 64; i++)
      m[j][i] *= 2.0f;
}
int search(const int *a, int n, int k) {
  for (int i = 0; i < n; i++) if (a[i] == k) return i;
  return -1;
}
