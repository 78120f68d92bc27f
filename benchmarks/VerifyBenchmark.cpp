#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "Code/Common/DeltaUpdatesTools.h"
#include "benchmarks/Measure.h"
#include "runtime/Threads/ZRDynamicThreadPool.h"
#include "tools/packager/Digest.h"

namespace {

namespace fs = std::filesystem;

constexpr unsigned kFiles = 2000;

/// Sizes as in an application bundle: mostly small, few large; about 100 MB together.
std::size_t sizeOf(unsigned file, std::mt19937& random) {
  if (file % 100 == 0) return 2000000 + random() % 2000000;
  return file % 10 == 0 ? 50000 + random() % 200000 : 1000 + random() % 30000;
}

/// A bundle and its digests: the agent's list, and the same in three parts of md5sum's form.
void makeBundle(const fs::path& top) {
  std::mt19937 random(1);
  std::ofstream list(top / "FileCheckSums.txt");
  std::vector<std::ofstream> parts;
  for (const char* part : {"part0", "part1", "part2"})
    parts.emplace_back(top / part);
  for (unsigned i = 0; i < kFiles; ++i) {
    const std::string name =
        "Contents/Resources/" + std::to_string(i % 20) + ".lproj/file" + std::to_string(i);
    fs::create_directories((top / name).parent_path());
    std::ofstream(top / name, std::ios::binary)
        << std::string(sizeOf(i, random), static_cast<char>(random()));
    const std::string digest = packager::md5OfFile(top / name);
    list << name << ' ' << digest << '\n';
    parts[i % 3] << digest << "  " << name << '\n';
  }
}

}  // namespace

int main() {
  const fs::path top =
      fs::temp_directory_path() / ("verify-benchmark-" + std::to_string(std::random_device{}()));
  fs::create_directories(top);
  makeBundle(top);
  fs::copy_file(top / "FileCheckSums.txt", top / "kept-list");
  const std::string xargs =
      "cd '" + top.string() + "' && printf '%s\\n' part0 part1 part2 | xargs -n1 -P3 md5sum --quiet -c";

  benchmark::Comparison best;
  for (int round = 0; round < 7; ++round) {
    fs::copy_file(top / "kept-list", top / "FileCheckSums.txt", fs::copy_options::overwrite_existing);
    best.ours = std::min(best.ours, benchmark::secondsFor([&] {
                           ZRDynamicThreadPool pool("Patching", 3, 3, 30);
                           const ZRResult result = verifyCheckSums(ZRString(top.string()), &pool);
                           if (result.isFailure()) std::printf("FAILED: %s\n", result.message().c_str());
                         }));
    best.peer = std::min(best.peer, benchmark::secondsFor([&] {
                           if (std::system(xargs.c_str()) != 0) std::printf("FAILED: xargs\n");
                         }));
  }
  benchmark::print("2000 files verified", "xargs -P3 md5sum -c", best, benchmark::Meaning::time, 1.0);
  fs::remove_all(top);
}
