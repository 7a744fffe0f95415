#pragma once
// `HostSourceManager`: the host's disassembly of rows, through the assembler
// analysis service's generator.

#include <utility>

#include <boost/shared_ptr.hpp>

#include "data_abstractions2/i_source_manager.h"
#include "platform/assembler_analysis/assembler_generator.h"

namespace host_data {

/// Decodes a row's code block with the generator it is handed, in the
/// result's decoding mode (`machine.codeBits`, 64 or 32), and names call
/// targets through an optional symbol resolver.
///
/// Holds no per-row state: any number of providers and handlers may share
/// one manager, each with its own line buffer.
class HostSourceManager : public data_abstractions2::ISourceManager {
 public:
  explicit HostSourceManager(int codeBits = 64, assembler_analysis::SymbolResolver symbols = {})
      : codeBits_(codeBits), symbols_(std::move(symbols)) {}

  bool fillAssemblerLines(const data_abstractions2::CodeBlock& block,
                          const boost::shared_ptr<assembler_analysis::AssemblerLines>& lines,
                          const boost::shared_ptr<assembler_analysis::AssemblerGenerator>& generator,
                          const boost::shared_ptr<assembler_analysis::RegisterPressure>& pressure) const override;

  int codeBits() const { return codeBits_; }

 private:
  int codeBits_;
  assembler_analysis::SymbolResolver symbols_;
};

}  // namespace host_data
