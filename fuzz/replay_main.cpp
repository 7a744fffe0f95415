// Runs a fuzz target over files and folders of inputs, without libFuzzer:
// the kept seeds and reproducers are replayed by every build's tests, so a
// fixed fault that comes back fails CTest, sanitizers included.
//   fuzz_replay_<target> FILE_OR_DIR...

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int argc, char** argv) {
  namespace fs = std::filesystem;
  std::vector<fs::path> inputs;
  for (int i = 1; i < argc; ++i) {
    const fs::path arg = argv[i];
    if (fs::is_directory(arg)) {
      for (const auto& entry : fs::recursive_directory_iterator(arg)) {
        if (entry.is_regular_file()) inputs.push_back(entry.path());
      }
    } else {
      inputs.push_back(arg);
    }
  }
  if (inputs.empty()) {
    std::fprintf(stderr, "no inputs to replay\n");
    return 1;
  }
  for (const fs::path& input : inputs) {
    std::ifstream in(input, std::ios::binary);
    const std::string data((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(data.data()), data.size());
  }
  std::printf("replayed %zu inputs\n", inputs.size());
  return 0;
}
