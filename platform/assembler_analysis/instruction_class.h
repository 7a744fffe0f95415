#pragma once
// Instruction classes: the bits of an assembler line's class word.
//
// A line carries one std::bitset<68>; each bit says "this instruction is of
// that class". Classes overlap on purpose: `vdivps ymm0, ymm1, ymm2` is a
// divide (3), packed (58), floating point (59), single precision (64), a
// 256-bit instruction (62), a SIMD instruction (32) and an instruction (38).
// Callers test with AssemblerLine::hasType(mask), true when the line has any
// bit of the mask. The full table, with the mnemonics behind each bit, is in
// docs/assembler-classes.md.
//
//    bit  class                           bit  class
//      0  floating-point add               34  exchange, byte swap
//      1  floating-point multiply          35  atomic (lock prefix, xchg memory)
//      2  floating-point subtract          36  fence, pause, wait
//      3  floating-point divide            37  system, I/O, interrupts
//      4  minimum, maximum                 38  decoded instruction (not bad data)
//      5  compare, test                    39  no-operation, branch-target marks
//      6  move (loads, stores, copies)     40  vector state zeroing (vzeroupper)
//      7  sign/zero-extending move         41  prefetch, cache line control
//      8  broadcast, duplicate             42  non-temporal memory access
//      9  shuffle, permute, align          43  set byte on condition
//     10  floating-point square root       44  reciprocal, ~12-bit approximation
//     11  conversion between types         45  reciprocal square root, ~12-bit
//     12  blend, select by mask            46  reciprocal, 14-bit (AVX-512)
//     13  conditional move                 47  reciprocal square root, 14-bit
//     14  insert, extract element          48  reciprocal, 23/28-bit
//     15  unpack, interleave               49  reciprocal square root, 23/28-bit
//     16  pack, narrow                     50  absolute value, sign, negate
//     17  push, pop, enter, leave          51  horizontal add/subtract, SAD
//     18  address computation (lea)        52  dot product, integer multiply-add
//     19  mask register operation          53  rounding
//     20  gather                           54  bitwise logic
//     21  scatter                          55  reads memory
//     22  fused multiply-add               56  writes memory
//     23  conditional branch               57  scalar (one element)
//     24  unconditional jump               58  packed (several elements)
//     25  return                           59  floating point
//     26  compress, expand                 60  call
//     27  string instruction               61  widest vector register is xmm
//     28  x87 floating-point unit          62  widest vector register is ymm
//     29  integer add, subtract            63  widest vector register is zmm
//     30  integer multiply                 64  single-precision elements
//     31  integer divide                   65  double-precision elements
//     32  SIMD (names a vector register)   66  shift, rotate
//     33  bit scan, count, deposit         67  exponent, mantissa, x87 functions

#include <bitset>
#include <cstddef>
#include <initializer_list>

namespace assembler_analysis {

inline constexpr std::size_t kInstructionClassCount = 68;

/// The class word of a line; one bit a class.
using class_mask_t = std::bitset<kInstructionClassCount>;

/// Names of the class bits, for code that builds masks.
enum class InstructionClass : unsigned {
  FloatAdd = 0,
  FloatMultiply = 1,
  FloatSubtract = 2,
  FloatDivide = 3,
  MinMax = 4,
  Compare = 5,
  Move = 6,
  ExtendingMove = 7,
  Broadcast = 8,
  Shuffle = 9,
  FloatSquareRoot = 10,
  Conversion = 11,
  Blend = 12,
  ConditionalMove = 13,
  InsertExtract = 14,
  Unpack = 15,
  Pack = 16,
  PushPop = 17,
  AddressComputation = 18,
  MaskRegister = 19,
  Gather = 20,
  Scatter = 21,
  FusedMultiplyAdd = 22,
  ConditionalBranch = 23,
  Jump = 24,
  Return = 25,
  CompressExpand = 26,
  String = 27,
  X87 = 28,
  IntegerAddSubtract = 29,
  IntegerMultiply = 30,
  IntegerDivide = 31,
  Simd = 32,
  BitManipulation = 33,
  Exchange = 34,
  Atomic = 35,
  Fence = 36,
  System = 37,
  Instruction = 38,
  Nop = 39,
  VectorZeroing = 40,
  Prefetch = 41,
  NonTemporal = 42,
  SetOnCondition = 43,
  Reciprocal = 44,
  ReciprocalSquareRoot = 45,
  Reciprocal14 = 46,
  ReciprocalSquareRoot14 = 47,
  Reciprocal28 = 48,
  ReciprocalSquareRoot28 = 49,
  AbsoluteSign = 50,
  Horizontal = 51,
  DotProduct = 52,
  Rounding = 53,
  Logical = 54,
  ReadsMemory = 55,
  WritesMemory = 56,
  Scalar = 57,
  Packed = 58,
  FloatingPoint = 59,
  Call = 60,
  Width128 = 61,
  Width256 = 62,
  Width512 = 63,
  SinglePrecision = 64,
  DoublePrecision = 65,
  ShiftRotate = 66,
  ExponentMantissa = 67,
};

/// A mask with the given classes set.
class_mask_t classMask(std::initializer_list<InstructionClass> classes);

/// A mask with the given bit numbers set; numbers out of range are ignored.
class_mask_t classMaskOfBits(std::initializer_list<unsigned> bits);

/// Short English name of a class ("divide"), for dumps and messages to
/// developers; "" for a number out of range.
const char* instructionClassName(unsigned bit);

}  // namespace assembler_analysis
