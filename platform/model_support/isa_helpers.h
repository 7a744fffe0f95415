#pragma once
// Reading what the compiler reports about a loop's vectors and instruction
// set, and the widths that follow from it.

#include <cstdint>
#include <string_view>

#include "data_abstractions2/i_dataset.h"
#include "data_abstractions2/i_loop_manager.h"

namespace data_models2::isa_helpers {

/// The vector length of a loop from the compiler's text of its lengths.
///
/// The text is one or more whole numbers separated by ';', ',' or blanks
/// ("4", "2;4", "4, 8"); a loop with several vector bodies reports one per
/// body, and the largest is the one that sets how many elements an iteration
/// covers, so that one is returned. Tokens that are not positive whole
/// numbers are ignored. Empty text, or text without such a number, gives 1:
/// a loop that reports no length is treated as scalar.
int getVectorLength(std::string_view text);

/// Widths in bits of the narrowest and the widest vector of a loop, from the
/// same text as getVectorLength: each length is a count of elements of
/// `elementBits` bits ("2;4" of 64-bit elements gives 128 and 256). The
/// compiler's text has no element size, so the caller gives the loop's data
/// type width when it knows it (getTypeMaxWidth); the default of 32 bits is
/// the common single-precision and int case. A text without a length gives
/// the width of one element, as for a scalar loop.
int getMinVectorWidth(std::string_view vectorLengthText, int elementBits = 32);
int getMaxVectorWidth(std::string_view vectorLengthText, int elementBits = 32);

/// Instruction sets in the order of what their code can use, for comparing
/// the code path of a loop with that of a function it calls. Not the system
/// information ladder (SystemInfo::IsaExtensions): this order has no gaps and
/// keeps 14 for a name it doesn't know, above every known set, so that an
/// unknown set never looks weaker than a known one.
enum IsaType : int {
  IsaTypeSse = 0,
  IsaTypeSse2 = 1,
  IsaTypeSse3 = 2,
  IsaTypeSsse3 = 3,
  IsaTypeSse41 = 4,
  IsaTypeSse42 = 5,
  IsaTypeAvx = 6,
  IsaTypeAvx2 = 7,
  IsaTypeAvx512 = 8,          ///< the common subset (AVX-512F)
  IsaTypeAvx512ManyCore = 9,  ///< with the many-core extensions (ER, PF)
  IsaTypeAvx512Core = 10,     ///< with BW, DQ and VL
  IsaTypeAvx512Vnni = 11,     ///< with the later integer extensions
  IsaTypeUnknown = 14,
};

/// The instruction set of a name as a compiler reports it; the spellings are
/// those of SystemInfo::getIsaType ("AVX2", "sse4_2", "avx512bw"). Empty and
/// unknown names give IsaTypeUnknown.
IsaType getIsaType(std::string_view isaName);

/// Width in bits of the vectors an instruction set offers for all element
/// types: 128 for the SSE sets, 256 for AVX and AVX2, 512 for AVX-512. AVX
/// has 256-bit vectors for floating point only; callers that vectorize
/// integers halve the width for a name that is exactly "AVX". A text naming
/// several sets ("SSE2; AVX") gives the narrowest of them, since every code
/// path must fit it. 0 when no set is recognised.
int getIsaMinVectorWidth(std::string_view isaName);

/// Width in bits of a data type as compilers and result files name it:
/// "int8" to "int64", "uint8" to "uint64", "float16", "bfloat16", "float32",
/// "float64", "complex64", "complex128" (the element pair), the C names
/// ("char", "short", "int", "long", "long long", "float", "double", with
/// "unsigned" and "signed" allowed in front) and the Fortran names
/// ("integer", "real", "double precision", "complex", "logical", with a kind
/// as "*8" or "(8)" in bytes). Case doesn't matter. A text naming several
/// types, separated by ';' or ',', gives the widest. 0 when no type is
/// recognised.
int getTypeMaxWidth(std::string_view typeName);

/// The median of a loop's source trip counts, in iterations, as the loop
/// manager knows it. 0 when the manager or the row is missing or the median
/// is unknown; a median beyond the range of int saturates.
int getMedianSourceTripCount(const data_abstractions2::row_t& row,
                             const data_abstractions2::sptr_t<data_abstractions2::IDataset>& dataset,
                             const data_abstractions2::sptr_t<data_abstractions2::ILoopManager>& loopManager);

}  // namespace data_models2::isa_helpers
