#pragma once
// Sources and disassembly of a result. The assembler analysis service fills
// lines through it; declared here so that the library can hold one.

#include "data_abstractions2/common.h"

namespace data_abstractions2 {

class ISourceManager : public ref_countable_t {
 public:
};

}  // namespace data_abstractions2
