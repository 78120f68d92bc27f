#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "Code/Common/DeltaUpdatesTools.h"
#include "benchmarks/Measure.h"
#include "runtime/Applications/ZRProcessManager.h"
#include "runtime/Threads/ZRDynamicThreadPool.h"
#include "tools/support/Program.h"

namespace {

namespace fs = std::filesystem;

constexpr int kPatches = 300;

std::string noise(unsigned seed, std::size_t size) {
  std::mt19937 random(seed);
  std::string bytes(size, '\0');
  for (char& byte : bytes)
    byte = static_cast<char>(random() % 64);
  return bytes;
}

void write(const fs::path& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

/// A bundle of 300 files, patches for all of them, and the arguments of the same bspatch runs for xargs.
class Workspace {
 public:
  explicit Workspace(const fs::path& top) : _top(top) {
    for (const char* folder : {"source", "patches", "theirs"})
      fs::create_directories(_top / folder);
    std::ofstream arguments(_top / "arguments");
    for (int i = 0; i < kPatches; ++i) {
      const std::string name = "file" + std::to_string(i);
      const std::string before = noise(static_cast<unsigned>(i), 20000);
      write(_top / "source" / name, before);
      write(_top / "new", before + "changed");
      const fs::path patch = _top / "patches" / (name + ".bsdiff");
      tools::runProgram(
          {"/usr/bin/bsdiff", {(_top / "source" / name).string(), (_top / "new").string(), patch.string()}});
      arguments << (_top / "source" / name).string() << ' ' << (_top / "theirs" / name).string() << ' '
                << patch.string() << '\n';
    }
    _xargs = "xargs -a '" + (_top / "arguments").string() + "' -n3 -P3 /usr/bin/bspatch";
  }

  void prepare() {
    fs::remove_all(_top / "delta");
    fs::copy(_top / "patches", _top / "delta", fs::copy_options::recursive);
    for (const auto& file : fs::directory_iterator(_top / "theirs"))
      fs::remove(file);
  }
  void ours() {
    ZRDynamicThreadPool pool("Patching", 3, 3, 30);
    const ZRResult result =
        applyPatch(ZRString((_top / "delta").string()), ZRString((_top / "source").string()), &pool);
    if (result.isFailure()) std::printf("FAILED: %s\n", result.message().c_str());
  }
  void theirs() {
    if (std::system(_xargs.c_str()) != 0) std::printf("FAILED: xargs\n");
  }

 private:
  fs::path _top;
  std::string _xargs;
};

}  // namespace

int main() {
  if (ZRProcessManager::init().isFailure()) return 1;
  const fs::path top =
      fs::temp_directory_path() / ("patch-benchmark-" + std::to_string(std::random_device{}()));
  Workspace workspace(top);

  benchmark::Comparison against;
  const auto measure = [&](double& best, auto work) {
    workspace.prepare();
    sync();  // so that nobody waits for pages that somebody else wrote
    best = std::min(best, benchmark::secondsFor(work));
  };
  for (int round = 0; round < 7; ++round) {
    measure(against.ours, [&] { workspace.ours(); });
    measure(against.peer, [&] { workspace.theirs(); });
  }
  benchmark::print("300 patches", "xargs -P3 bspatch", against, benchmark::Meaning::time, 0.88);

  benchmark::Comparison parents;
  for (int round = 0; round < 7; ++round) {
    measure(parents.peer, [&] { workspace.ours(); });
    const std::vector<char> memory(200u << 20, 'x');
    measure(parents.ours, [&] { workspace.ours(); });
    if (memory.back() != 'x') return 1;
  }
  benchmark::print("300 patches, parent of 200 MB", "a small parent", parents, benchmark::Meaning::time,
                   1.05);
  fs::remove_all(top);
}
