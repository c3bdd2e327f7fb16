// Runs a fuzz target on files, and on all files in directories, without a fuzzer. The ordinary
// tests replay seeds and findings with it.

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "fuzz/support.h"

int main(int argc, char* argv[]) {
  namespace fs = std::filesystem;
  std::vector<fs::path> files;
  for (int i = 1; i < argc; ++i) {
    const fs::path path = fs::absolute(argv[i]);  // targets may change their working directory
    if (!fs::is_directory(path)) {
      files.push_back(path);
      continue;
    }
    for (const auto& entry : fs::directory_iterator(path)) files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  if (files.empty()) {
    std::fputs("no inputs\n", stderr);
    return 1;
  }
  for (const fs::path& file : files) {
    std::printf("%s\n", file.c_str());
    std::fflush(stdout);  // so that the last name is the file that fails
    FUZZ_CHECK(fs::is_regular_file(file));
    const std::string bytes = jobshaper::fuzz::readFile(file);
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  }
  std::printf("%zu inputs\n", files.size());
  return 0;
}
