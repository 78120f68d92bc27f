#include "tools/packager/DeltaPackage.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <functional>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Code/Common/BundleExecutables.h"
#include "Code/Common/DeltaPackageFormat.h"
#include "tools/packager/BundleTree.h"
#include "tools/packager/Digest.h"
#include "tools/support/Files.h"
#include "tools/support/Program.h"
#include "tools/support/TemporaryFolder.h"

namespace packager {

namespace fs = std::filesystem;

namespace {

/// Calls `work` with 0 ... count-1 on several threads; the first exception ends it and is thrown on.
void runParallel(unsigned jobs, std::size_t count, const std::function<void(std::size_t)>& work) {
  std::atomic<std::size_t> next{0};
  std::mutex mutex;
  std::exception_ptr failure;
  const auto run = [&] {
    try {
      for (std::size_t i = next++; i < count; i = next++)
        work(i);
    } catch (...) {
      next = count;
      const std::lock_guard lock(mutex);
      if (!failure) failure = std::current_exception();
    }
  };
  std::vector<std::thread> threads;
  for (unsigned i = 1; i < jobs; ++i)
    threads.emplace_back(run);
  run();
  for (std::thread& thread : threads)
    thread.join();
  if (failure) std::rethrow_exception(failure);
}

bool isMadeExecutableAgain(const std::string& path) {
  return std::find(std::begin(kBundleExecutables), std::end(kBundleExecutables), path) !=
         std::end(kBundleExecutables);
}

bool mayBePatched(const TreeItem& item, const fs::path& base) {
  const bool keepsItsMode = !item.executable || isMadeExecutableAgain(item.path);
  if (!keepsItsMode || item.path.find('"') != std::string::npos) return false;
  // The diff tool maps both files into memory, which empty ones refuse.
  return item.sizeBytes > 0 && fs::symlink_status(base).type() == fs::file_type::regular &&
         fs::file_size(base) > 0;
}

/// The tree of one package while it is made.
class DeltaTreeBuilder {
 public:
  DeltaTreeBuilder(const DeltaRequest& request, fs::path tree)
      : _request(request), _items(deliverableItems(request.targetBundle)), _tree(std::move(tree)) {}

  void build(DeltaPackage& package) {
    copyFoldersAndLinks();
    std::vector<std::string> digests(_items.size());
    std::atomic<std::size_t> patched{0};
    std::atomic<std::size_t> whole{0};
    runParallel(jobs(), _items.size(), [&](std::size_t i) {
      if (_items[i].kind != TreeItem::Kind::file) return;
      digests[i] = md5OfFile(_request.targetBundle / _items[i].path);
      ++(deliver(_items[i]) ? patched : whole);
    });
    writeDigestList(digests);
    package.patchedFiles = patched;
    package.wholeFiles = whole;
  }

 private:
  [[nodiscard]] unsigned jobs() const {
    return _request.jobs != 0 ? _request.jobs : std::max(1u, std::thread::hardware_concurrency());
  }

  void copyFoldersAndLinks() {
    fs::create_directory(_tree);
    for (const TreeItem& item : _items) {
      if (item.kind == TreeItem::Kind::folder) fs::create_directory(_tree / item.path);
      if (item.kind == TreeItem::Kind::link) {
        fs::copy_symlink(_request.targetBundle / item.path, _tree / item.path);
      }
    }
  }

  /// Puts the file into the tree; whether that was as a patch.
  bool deliver(const TreeItem& item) {
    const fs::path base = _request.sourceBundle / item.path;
    const fs::path target = _request.targetBundle / item.path;
    if (mayBePatched(item, base)) {
      const fs::path patch = _tree / (item.path + std::string(kPatchSuffix));
      tools::runProgram({"/usr/bin/bsdiff", {base.string(), target.string(), patch.string()}});
      if (fs::file_size(patch) < item.sizeBytes) return true;
      fs::remove(patch);
    }
    fs::copy_file(target, _tree / item.path);
    return false;
  }

  void writeDigestList(const std::vector<std::string>& digests) const {
    std::string list;
    for (std::size_t i = 0; i < _items.size(); ++i) {
      if (_items[i].kind == TreeItem::Kind::file) list += _items[i].path + ' ' + digests[i] + '\n';
    }
    tools::writeFile(_tree / kCheckSumsName, list);
  }

  const DeltaRequest& _request;
  const std::vector<TreeItem> _items;
  const fs::path _tree;
};

}  // namespace

DeltaPackage makeDeltaPackage(const DeltaRequest& request) {
  if (!fs::is_directory(request.sourceBundle)) {
    throw std::runtime_error(request.sourceBundle.string() + " is not a folder");
  }
  const tools::TemporaryFolder staging(fs::absolute(request.archive).parent_path(), ".packaging-");
  const std::string name = std::to_string(request.sourceBuild) + "_" + std::to_string(request.targetBuild);
  const fs::path tree = staging / name;

  DeltaPackage package;
  DeltaTreeBuilder(request, tree).build(package);
  package.archive = archiveFolder(tree, name, request.archive, request.compression);
  return package;
}

}  // namespace packager
