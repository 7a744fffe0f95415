#!/usr/bin/env bash
# Builds the example program with gcc or clang, with what the importer reads:
# debug information, the compiler's optimization records, and frame pointers
# for cheap call stacks.
#   examples/kernels/build.sh gcc|clang OUTPUT_DIR
set -euo pipefail
compiler=${1:?gcc or clang}
out=${2:?output directory}
src=$(cd "$(dirname "$0")/src" && pwd)
mkdir -p "$out"
flags=(-O3 -g -march=x86-64-v3 -fno-omit-frame-pointer -mno-omit-leaf-frame-pointer -fsave-optimization-record)
# clang records its options only when asked; valgrind 3.19 can't read clang
# 14's default DWARF 5, so the counting run needs DWARF 4.
if [ "$compiler" = clang ]; then flags+=(-grecord-command-line -gdwarf-4); fi
cd "$out"
for f in kernels transform main; do
  "$compiler" "${flags[@]}" -c "$src/$f.c" -o "$f.o"
done
"$compiler" kernels.o transform.o main.o -lm -o kernels
