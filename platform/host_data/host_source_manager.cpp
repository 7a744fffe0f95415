#include "platform/host_data/host_source_manager.h"

#include "platform/assembler_analysis/assembler_lines.h"

namespace host_data {

bool HostSourceManager::fillAssemblerLines(
    const data_abstractions2::CodeBlock& block, const boost::shared_ptr<assembler_analysis::AssemblerLines>& lines,
    const boost::shared_ptr<assembler_analysis::AssemblerGenerator>& generator,
    const boost::shared_ptr<assembler_analysis::RegisterPressure>& pressure) const {
  if (!lines) return false;
  if (!generator) {
    // The buffer must not keep another row's lines when this one can't be
    // decoded.
    lines->clear();
    return false;
  }
  assembler_analysis::CodeRegion code;
  code.bytes = block.bytes.data();
  code.size = block.bytes.size();
  code.address = block.address;
  code.codeBits = codeBits_;
  code.symbols = symbols_;
  return generator->generate(code, *lines, pressure.get());
}

}  // namespace host_data
