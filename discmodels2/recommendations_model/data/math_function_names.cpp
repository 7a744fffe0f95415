#include "discmodels2/recommendations_model/data/math_function_names.h"

#include <algorithm>
#include <iterator>

namespace data_models2 {

namespace {

// Kept sorted so that a look-up is a binary search; a test checks the order.
constexpr std::string_view kMathFunctionNames[] = {
    "abs", "acos", "acosd", "acosdf", "acosdl", "acosf", "acosh", "acoshf", "acoshl", "acosl", "acospi", "acospif",
    "acospil", "aint", "alog", "alog10", "amod", "anint", "asin", "asind", "asindf", "asindl", "asinf", "asinh",
    "asinhf", "asinhl", "asinl", "asinpi", "asinpif", "asinpil", "atan", "atan2", "atan2d", "atan2df", "atan2dl",
    "atan2f", "atan2l", "atan2pi", "atan2pif", "atan2pil", "atand", "atandf", "atandl", "atanf", "atanh", "atanhf",
    "atanhl", "atanl", "atanpi", "atanpif", "atanpil", "bessel_j0", "bessel_j1", "bessel_jn", "bessel_y0",
    "bessel_y1", "bessel_yn", "cabs", "cabsf", "cabsl", "cacos", "cacosf", "cacosh", "cacoshf", "cacoshl", "cacosl",
    "carg", "cargf", "cargl", "casin", "casinf", "casinh", "casinhf", "casinhl", "casinl", "catan", "catanf",
    "catanh", "catanhf", "catanhl", "catanl", "cbrt", "cbrtf", "cbrtl", "ccos", "ccosf", "ccosh", "ccoshf", "ccoshl",
    "ccosl", "ceil", "ceilf", "ceill", "cexp", "cexpf", "cexpl", "cimag", "cimagf", "cimagl", "clog", "clogf",
    "clogl", "compoundn", "compoundnf", "compoundnl", "conj", "conjf", "conjl", "copysign", "copysignf", "copysignl",
    "cos", "cosd", "cosdf", "cosdl", "cosf", "cosh", "coshf", "coshl", "cosl", "cospi", "cospif", "cospil", "cpow",
    "cpowf", "cpowl", "cproj", "cprojf", "cprojl", "creal", "crealf", "creall", "csin", "csinf", "csinh", "csinhf",
    "csinhl", "csinl", "csqrt", "csqrtf", "csqrtl", "ctan", "ctanf", "ctanh", "ctanhf", "ctanhl", "ctanl", "dabs",
    "dacos", "dasin", "datan", "datan2", "dcos", "dcosh", "ddim", "dexp", "dim", "dint", "dlog", "dlog10", "dmod",
    "dnint", "dprod", "drem", "dremf", "dreml", "dsign", "dsin", "dsinh", "dsqrt", "dtan", "dtanh", "erf", "erfc",
    "erfc_scaled", "erfcf", "erfcl", "erff", "erfl", "exp", "exp10", "exp10f", "exp10l", "exp10m1", "exp10m1f",
    "exp10m1l", "exp2", "exp2f", "exp2l", "exp2m1", "exp2m1f", "exp2m1l", "expf", "expl", "expm1", "expm1f",
    "expm1l", "fabs", "fabsf", "fabsl", "fdim", "fdimf", "fdiml", "floor", "floorf", "floorl", "fma", "fmaf", "fmal",
    "fmax", "fmaxf", "fmaximum", "fmaximum_mag", "fmaximum_magf", "fmaximum_magl", "fmaximum_num", "fmaximum_numf",
    "fmaximum_numl", "fmaximumf", "fmaximuml", "fmaxl", "fmin", "fminf", "fminimum", "fminimum_mag", "fminimum_magf",
    "fminimum_magl", "fminimum_num", "fminimum_numf", "fminimum_numl", "fminimumf", "fminimuml", "fminl", "fmod",
    "fmodf", "fmodl", "frexp", "frexpf", "frexpl", "gamma", "gammaf", "gammal", "hypot", "hypotf", "hypotl", "iabs",
    "idim", "idnint", "ilogb", "ilogbf", "ilogbl", "isign", "j0", "j0f", "j0l", "j1", "j1f", "j1l", "jn", "jnf",
    "jnl", "ldexp", "ldexpf", "ldexpl", "lgamma", "lgamma_r", "lgamma_rf", "lgamma_rl", "lgammaf", "lgammal",
    "llrint", "llrintf", "llrintl", "llround", "llroundf", "llroundl", "log", "log10", "log10f", "log10l", "log10p1",
    "log10p1f", "log10p1l", "log1p", "log1pf", "log1pl", "log2", "log2f", "log2l", "log2p1", "log2p1f", "log2p1l",
    "log_gamma", "logb", "logbf", "logbl", "logf", "logl", "logp1", "logp1f", "logp1l", "lrint", "lrintf", "lrintl",
    "lround", "lroundf", "lroundl", "mod", "modf", "modff", "modfl", "modulo", "nan", "nanf", "nanl", "nearbyint",
    "nearbyintf", "nearbyintl", "nextafter", "nextafterf", "nextafterl", "nexttoward", "nexttowardf", "nexttowardl",
    "nint", "norm2", "pow", "pow10", "pow10f", "pow10l", "powf", "powl", "pown", "pownf", "pownl", "powr", "powrf",
    "powrl", "remainder", "remainderf", "remainderl", "remquo", "remquof", "remquol", "rint", "rintf", "rintl",
    "rootn", "rootnf", "rootnl", "round", "roundeven", "roundevenf", "roundevenl", "roundf", "roundl", "rsqrt",
    "rsqrtf", "rsqrtl", "scalb", "scalbf", "scalbl", "scalbln", "scalblnf", "scalblnl", "scalbn", "scalbnf",
    "scalbnl", "sign", "significand", "significandf", "significandl", "sin", "sincos", "sincosf", "sincosl", "sind",
    "sindf", "sindl", "sinf", "sinh", "sinhf", "sinhl", "sinl", "sinpi", "sinpif", "sinpil", "sqrt", "sqrtf",
    "sqrtl", "tan", "tand", "tandf", "tandl", "tanf", "tanh", "tanhf", "tanhl", "tanl", "tanpi", "tanpif", "tanpil",
    "tgamma", "tgammaf", "tgammal", "trunc", "truncf", "truncl", "y0", "y0f", "y0l", "y1", "y1f", "y1l", "yn", "ynf",
    "ynl",
};

}  // namespace

std::span<const std::string_view> mathFunctionNames() { return kMathFunctionNames; }

bool isMathFunctionName(std::string_view name) {
  return std::binary_search(std::begin(kMathFunctionNames), std::end(kMathFunctionNames), name);
}

}  // namespace data_models2
