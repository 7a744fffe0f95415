// The callgrind reader on a trimmed real output of a vectorized loop that
// calls into the C library.

#include "platform/importer/callgrind.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;
using nimbex::importer::CallgrindObject;
using nimbex::importer::CallgrindProfile;

namespace {

std::string writeTemp(const std::string& name, const std::string& text) {
  fs::path dir = fs::temp_directory_path() / ("nimbex-callgrind-" + std::to_string(::getpid()));
  fs::create_directories(dir);
  std::ofstream(dir / name) << text;
  return (dir / name).string();
}

// The loop's blocks are listed twice (entered from above, then looping), the
// jump and call lines are followed by the position they belong to, and a
// call site's cost line is the callee's inclusive cost.
const char* kOutput = R"(# callgrind format
version: 1
creator: callgrind-3.19.0
cmd:  ./app 100
positions: instr line
events: Ir Dr

ob=(1) /tmp/app
fl=(1) kernels.c
fn=(1) saxpy
0x1220 3 100
+3 +1 100
+45 +1 100 100
+23 * 100
jcnd=100/100 -23 +1
* *
-23 +1 12400 12400
+23 * 12400
jcnd=12300/12400 -23 +1
* *
+2 * 100
cob=(2) /usr/lib/libc.so.6
cfn=(2) memset
calls=100 0x3df40 30
+5 * 2300
* * 100
cfn=(1)
calls=1 0x1220 3
* * 50
jump=7 0x1300
* *

ob=(2)
fn=(2)
0x3df40 0 100
)";

const CallgrindObject* object(const CallgrindProfile& p, const std::string& path) {
  for (const auto& o : p.objects)
    if (o.path == path) return &o;
  return nullptr;
}

TEST(Callgrind, CountsPerAddressJumpsAndCalls) {
  CallgrindProfile profile;
  std::string error;
  ASSERT_TRUE(nimbex::importer::readCallgrind(writeTemp("app.out", kOutput), profile, error)) << error;
  EXPECT_EQ(profile.command, "./app 100");
  const CallgrindObject* app = object(profile, "/tmp/app");
  ASSERT_NE(app, nullptr);
  struct {
    uint64_t address, executions;
  } counts[] = {
      {0x1220, 100}, {0x1250, 12500}, {0x1267, 12500}, {0x1269, 100},
      {0x126e, 100},  // its own cost only, not the calls' inclusive 2,350
  };
  for (auto row : counts) {
    auto it = app->executions.find(row.address);
    ASSERT_NE(it, app->executions.end()) << std::hex << row.address;
    EXPECT_EQ(it->second, row.executions) << std::hex << row.address;
  }
  ASSERT_EQ(app->jumps.size(), 2u);
  EXPECT_EQ(app->jumps[0].from, 0x1267u);
  EXPECT_EQ(app->jumps[0].to, 0x1250u);
  EXPECT_EQ(app->jumps[0].taken, 12400u);  // the back edge; entries = 12,500 - 12,400
  EXPECT_EQ(app->jumps[0].executed, 12500u);
  EXPECT_EQ(app->jumps[1].from, 0x126eu);
  EXPECT_EQ(app->jumps[1].to, 0x1300u);
  EXPECT_EQ(app->jumps[1].taken, 7u);
  ASSERT_EQ(app->calls.size(), 2u);
  for (const auto& call : app->calls) {
    EXPECT_EQ(call.from, 0x126eu);
    if (call.calleeFunction == "memset") {
      EXPECT_EQ(call.calleeObject, "/usr/lib/libc.so.6");
      EXPECT_EQ(call.calls, 100u);
      EXPECT_EQ(call.inclusiveIr, 2300u);
    } else {
      EXPECT_EQ(call.calleeFunction, "saxpy");
      EXPECT_EQ(call.calleeObject, "/tmp/app");  // no cob: the caller's own object
    }
  }
  const CallgrindObject* libc = object(profile, "/usr/lib/libc.so.6");
  ASSERT_NE(libc, nullptr);
  EXPECT_EQ(libc->executions.at(0x3df40), 100u);
}

TEST(Callgrind, OtherFilesAreRefusedWithTheirPlace) {
  struct Row {
    const char* text;
    const char* errorPart;
  } rows[] = {
      {"app 4242 100.5: 250000 cpu-clock:\n\t1139 main (/tmp/app)\n", ":1: not a callgrind output"},
      {"version: 1\npositions: line\nevents: Ir\n", ":2: no instruction addresses"},
      {"version: 1\npositions: instr\nevents: Dr\n", ":3: no \"Ir\" event"},
      {"version: 1\nevents: Ir\n0x10 x\n", ":3: cannot read the cost"},
      {"version: 1\nevents: Ir\njcnd=1 \n", ":3: cannot read this jcnd line"},
      {"version: 1\n", "no \"events:\" line"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    std::string path = writeTemp("bad.out", row.text);
    CallgrindProfile profile;
    std::string error;
    EXPECT_FALSE(nimbex::importer::readCallgrind(path, profile, error));
    EXPECT_EQ(error.rfind(path, 0), 0u) << error;
    EXPECT_NE(error.find(row.errorPart), std::string::npos) << error;
  }
  CallgrindProfile profile;
  std::string error;
  EXPECT_FALSE(nimbex::importer::readCallgrind("/nonexistent/cg.out", profile, error));
  EXPECT_NE(error.find("cannot open"), std::string::npos);
}

}  // namespace
