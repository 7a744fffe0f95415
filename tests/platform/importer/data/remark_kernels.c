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
// Twenty accumulators: more than the registers, so the loop spills.
void spill(double *restrict out, const double *restrict in, int n) {
  double a0=0,a1=0,a2=0,a3=0,a4=0,a5=0,a6=0,a7=0,a8=0,a9=0,b0=0,b1=0,b2=0,b3=0,b4=0,b5=0,b6=0,b7=0,b8=0,b9=0;
  for (int i = 0; i < n; i++) {
    double x = in[i];
    a0+=x*1.1;a1+=a0*x;a2+=a1*x;a3+=a2*x;a4+=a3*x;a5+=a4*x;a6+=a5*x;a7+=a6*x;a8+=a7*x;a9+=a8*x;
    b0+=a9*x;b1+=b0*a0;b2+=b1*a1;b3+=b2*a2;b4+=b3*a3;b5+=b4*a4;b6+=b5*a5;b7+=b6*a6;b8+=b7*a7;b9+=b8*a8;
    out[i] = a0*b9 + a1*b8 + a2*b7 + a3*b6 + a4*b5 + a5*b4 + a6*b3 + a7*b2 + a8*b1 + a9*b0;
  }
  out[0] = a0+a1+a2+a3+a4+a5+a6+a7+a8+a9+b0+b1+b2+b3+b4+b5+b6+b7+b8+b9;
}
