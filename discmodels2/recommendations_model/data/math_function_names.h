#pragma once
// Names of the functions of the C and Fortran math libraries.

#include <span>
#include <string_view>

namespace data_models2 {

/// The public entry points of the math libraries, in lower case and in
/// strict alphabetical (byte) order: the C99/C11 and C23 <math.h> and
/// <complex.h> functions with their float ("f") and long double ("l")
/// forms, the common C library extensions (sincos, exp10, the Bessel
/// functions j0 to yn, ...), the degree forms of the trigonometric
/// functions (sind, cosd, tand, asind, acosd, atand, atan2d and their f and
/// l forms) and the Fortran intrinsic math functions with their specific
/// names (dsqrt, alog, bessel_j0, ...).
std::span<const std::string_view> mathFunctionNames();

/// True when `name` is one of mathFunctionNames(); the comparison is exact,
/// so callers lower the name first.
bool isMathFunctionName(std::string_view name);

}  // namespace data_models2
