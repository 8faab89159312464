// Runs a fuzz target over every file of the directories or files named on the
// command line, so that ctest replays each corpus without libFuzzer.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

static void run_file(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
}

int main(int argc, char** argv) {
  size_t files = 0;
  for (int i = 1; i < argc; ++i) {
    std::filesystem::path p(argv[i]);
    if (std::filesystem::is_directory(p)) {
      for (const auto& e : std::filesystem::recursive_directory_iterator(p))
        if (e.is_regular_file()) { run_file(e.path()); ++files; }
    } else {
      run_file(p);
      ++files;
    }
  }
  std::printf("replayed %zu inputs\n", files);
  return 0;
}
