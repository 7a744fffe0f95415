// The roof probe: cache sizes as sysfs writes them, and a short real run
// whose output has the shape of the result format's roof items.

#include "tools/nimbex-roofs/roof_probe.h"

#include <gtest/gtest.h>
#include <simdjson.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>

namespace fs = std::filesystem;

namespace {

TEST(RoofProbe, CacheSizesFromSysfs) {
  fs::path cpu = fs::temp_directory_path() / ("nimbex-roofs-" + std::to_string(::getpid())) / "cpu0";
  struct Row {
    const char *type, *level, *size;
  } rows[] = {{"Data", "1", "48K"}, {"Instruction", "1", "32K"}, {"Unified", "2", "2048K"}, {"Unified", "3", "32M"}};
  int index = 0;
  for (const Row& row : rows) {
    fs::path dir = cpu / "cache" / ("index" + std::to_string(index++));
    fs::create_directories(dir);
    std::ofstream(dir / "type") << row.type << "\n";
    std::ofstream(dir / "level") << row.level << "\n";
    std::ofstream(dir / "size") << row.size << "\n";
  }
  nimbex_roofs::Caches caches = nimbex_roofs::readCaches(cpu.string());
  EXPECT_EQ(caches.l1, 48u << 10);  // the data cache, not the instruction one
  EXPECT_EQ(caches.l2, 2048u << 10);
  EXPECT_EQ(caches.l3, 32u << 20);
  EXPECT_EQ(nimbex_roofs::readCaches((cpu / "missing").string()).l1, 0u);
}

TEST(RoofProbe, AShortRunGivesEveryRoofForOneAndAllThreads) {
  fs::path out = fs::temp_directory_path() / ("nimbex-roofs-" + std::to_string(::getpid())) / "roofs.json";
  fs::create_directories(out.parent_path());
  std::string command = std::string(NIMBEX_ROOFS_PATH) + " --seconds 0.3 --threads 2 -o " + out.string();
  ASSERT_EQ(std::system(command.c_str()), 0);
  simdjson::dom::parser parser;
  simdjson::dom::element doc;
  ASSERT_EQ(parser.load(out.string()).get(doc), simdjson::SUCCESS);
  simdjson::dom::array roofs;
  ASSERT_EQ(doc["roofs"].get(roofs), simdjson::SUCCESS);
  std::map<std::string, int> seen;  // name -> 1 single thread, 2 all threads
  for (auto roof : roofs) {
    std::string_view name;
    uint64_t value = 0, word = 0;
    ASSERT_EQ(roof["name"].get(name), simdjson::SUCCESS);
    ASSERT_EQ(roof["value"].get(value), simdjson::SUCCESS);
    ASSERT_EQ(roof["secondWord"].get(word), simdjson::SUCCESS);
    EXPECT_GT(value, 0u) << name;
    bool memory = name.find("Bandwidth") != std::string_view::npos;
    EXPECT_EQ(word & 3, memory ? 1u : 2u) << name;
    EXPECT_EQ((word & 32) != 0, name.find("FMA") != std::string_view::npos) << name;
    EXPECT_EQ((word & 4) != 0, name.find("Int") != std::string_view::npos) << name;
    seen[std::string(name)] |= (word & 8) ? 1 : 2;
  }
  for (const char* name : {"L1 Bandwidth", "L2 Bandwidth", "DRAM Bandwidth", "Scalar Add Peak", "DP Vector Add Peak"})
    EXPECT_EQ(seen[name], 3) << name;
}

}  // namespace
