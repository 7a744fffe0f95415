#pragma once

double transform(double x);

void triad(float* restrict a, const float* restrict b, const float* restrict c, float s, int n);
void with_call(double* restrict y, int n);
void indirect(float* restrict y, const float* restrict x, const int* restrict idx, int n);
void recurrence(double* restrict x, const double* restrict b, double a, int n);
void normalize(double* restrict out, const double* restrict x, const double* restrict y, int n);
void matvec(double* restrict r, const double* restrict m, const double* restrict v, int rows, int cols);
