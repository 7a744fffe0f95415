#pragma once
// Sources and disassembly of a result. The assembler analysis service fills
// lines through it; declared here so that the library can hold one.

#include <boost/shared_ptr.hpp>

#include "data_abstractions2/common.h"
#include "data_abstractions2/i_surveying_view_model.h"

namespace assembler_analysis {
class AssemblerGenerator;
class AssemblerLines;
class RegisterPressure;
}  // namespace assembler_analysis

namespace data_abstractions2 {

class ISourceManager : public ref_countable_t {
 public:
  /// Decodes `block` (a row's code, from ISurveyingViewModel::getCodeBlock)
  /// into `lines` with `generator`, replacing what `lines` held. When
  /// `pressure` is given and enabled, it receives the register statistics
  /// of the same lines. False when a pointer is null, the block has no bytes
  /// or the host can't decode its code; the caller then treats the row as
  /// having no lines. A host without disassembly keeps this default.
  virtual bool fillAssemblerLines(const CodeBlock& block,
                                  const boost::shared_ptr<assembler_analysis::AssemblerLines>& lines,
                                  const boost::shared_ptr<assembler_analysis::AssemblerGenerator>& generator,
                                  const boost::shared_ptr<assembler_analysis::RegisterPressure>& pressure) const {
    (void)block;
    (void)lines;
    (void)generator;
    (void)pressure;
    return false;
  }
};

}  // namespace data_abstractions2
