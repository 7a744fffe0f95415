#pragma once
// The per-instruction counts of a callgrind run made with
// --dump-instr=yes --collect-jumps=yes.

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

namespace nimbex::importer {

struct CallgrindJump { uint64_t from = 0, to = 0, taken = 0, executed = 0; };
struct CallgrindCall { uint64_t from = 0; std::string calleeObject, calleeFunction; uint64_t calls = 0, inclusiveIr = 0; };

struct CallgrindObject {
  std::string path;                                   // the ELF object (ob=)
  std::unordered_map<uint64_t, uint64_t> executions;  // instruction address (as callgrind prints it for that object) -> times executed
  std::vector<CallgrindJump> jumps;                   // conditional jumps (jcnd) and jumps (jump)
  std::vector<CallgrindCall> calls;
};

struct CallgrindProfile { std::string command; std::vector<CallgrindObject> objects; };

// false with a one-line error naming the file and line when it is unreadable
// or not a callgrind output with instruction addresses.
bool readCallgrind(const std::string& path, CallgrindProfile& out, std::string& error);

}  // namespace nimbex::importer
