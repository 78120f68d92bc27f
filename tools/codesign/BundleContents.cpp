#include "tools/codesign/BundleContents.h"

#include <algorithm>
#include <deque>

#include "platform/FileContents.h"
#include "platform/PropertyList.h"

namespace codesign {
namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t kMaxSignatureBytes = 1 << 20;
constexpr std::size_t kMaxItems = 1'000'000;
constexpr int kMaxLinkSteps = 40;  // as many as the system follows

bool isRealFolder(const fs::path& path) {
  return fs::symlink_status(path).type() == fs::file_type::directory;
}

class Listing {
 public:
  Listing(const fs::path& bundle, const IsNestedBundle& isNestedBundle)
      : _bundle(bundle), _isNestedBundle(isNestedBundle), _signatureFolder(signatureFolder(bundle)) {}

  std::vector<BundleItem> run() {
    listFolder({});
    std::sort(_items.begin(), _items.end(),
              [](const BundleItem& a, const BundleItem& b) { return a.path < b.path; });
    return std::move(_items);
  }

 private:
  void listFolder(const fs::path& folder) {
    for (const auto& entry : fs::directory_iterator(_bundle / folder))
      listItem(folder / entry.path().filename(), entry.symlink_status());
  }

  void listItem(const fs::path& path, fs::file_status status) {
    switch (status.type()) {
      case fs::file_type::directory:
        return listSubfolder(path);
      case fs::file_type::symlink:
        return add({path, SealedItem::Kind::link});
      case fs::file_type::regular:
        return add({path, SealedItem::Kind::file, changesUser(status.permissions())});
      default:
        throw CodeSignatureError(path.string() + " is neither a file, a folder nor a symbolic link");
    }
  }

  void listSubfolder(const fs::path& path) {
    if (path == _signatureFolder) return checkSignatureFolder();
    if (_isNestedBundle(path)) return add({path, SealedItem::Kind::bundle});
    listFolder(path);
  }

  /// Nothing can be hidden beside the two files that nobody seals.
  void checkSignatureFolder() const {
    for (const auto& entry : fs::directory_iterator(_bundle / _signatureFolder)) {
      const fs::path name = entry.path().filename();
      const bool known = name == kSealFile || name == kSignatureFile;
      if (!known || entry.symlink_status().type() != fs::file_type::regular) {
        throw CodeSignatureError((_signatureFolder / name).string() + " does not belong there");
      }
    }
  }

  void add(BundleItem item) {
    if (_items.size() == kMaxItems) throw CodeSignatureError("the bundle has too many items");
    _items.push_back(std::move(item));
  }

  static bool changesUser(fs::perms permissions) {
    return (permissions & (fs::perms::set_uid | fs::perms::set_gid)) != fs::perms::none;
  }

  fs::path _bundle;
  const IsNestedBundle& _isNestedBundle;
  fs::path _signatureFolder;
  std::vector<BundleItem> _items;
};

/// Follows a link step by step, as the system would, but never out of the bundle.
class LinkWalk {
 public:
  LinkWalk(const fs::path& bundle, const fs::path& link) : _bundle(bundle), _at(link.parent_path()) {}

  /// Whether the link leads to an item of the bundle without leaving it on the way.
  bool staysInside(const fs::path& target) {
    if (!follow(target)) return false;
    while (!_ahead.empty()) {
      const fs::path step = _ahead.front();
      _ahead.pop_front();
      if (!take(step)) return false;
    }
    return true;
  }

 private:
  bool follow(const fs::path& target) {
    if (target.empty() || target.is_absolute() || ++_links > kMaxLinkSteps) return false;
    _ahead.insert(_ahead.begin(), target.begin(), target.end());
    return true;
  }

  bool take(const fs::path& step) {
    if (step.empty() || step == ".") return true;
    if (step == "..") {
      if (_at.empty()) return false;
      _at = _at.parent_path();
      return true;
    }
    const fs::path next = _at / step;
    const auto type = fs::symlink_status(_bundle / next).type();
    if (type == fs::file_type::not_found) return false;
    if (type == fs::file_type::symlink) return follow(fs::read_symlink(_bundle / next));
    _at = next;
    return true;
  }

  const fs::path& _bundle;
  fs::path _at;  ///< without links; empty: the bundle itself
  std::deque<fs::path> _ahead;
  int _links = 0;
};

std::string readBounded(const fs::path& path, std::uint64_t limitBytes, const char* what) {
  std::string bytes;
  if (fs::symlink_status(path).type() != fs::file_type::regular) {
    throw CodeSignatureError(std::string("the bundle has no ") + what);
  }
  if (const auto error = platform::readFile(path, limitBytes, bytes))
    throw CodeSignatureError(error.description);
  return bytes;
}

}  // namespace

fs::path signatureFolder(const fs::path& bundle) {
  const fs::path name = "_CodeSignature";
  return isRealFolder(bundle / "Contents") ? "Contents" / name : name;
}

std::vector<BundleItem> listBundle(const fs::path& bundle, const IsNestedBundle& isNestedBundle) {
  if (!isRealFolder(bundle)) throw CodeSignatureError("not a bundle");
  return Listing(bundle, isNestedBundle).run();
}

SealedItem describeItem(const fs::path& bundle, const BundleItem& item) {
  const fs::path path = bundle / item.path;
  if (item.kind == SealedItem::Kind::file) return {item.kind, sha256OfFile(path), {}};
  if (item.kind == SealedItem::Kind::bundle) return {item.kind, sha256(readSealFile(path)), {}};
  const fs::path target = fs::read_symlink(path);
  if (!LinkWalk(bundle, item.path).staysInside(target)) {
    throw CodeSignatureError(item.path + " is a link that leads out of the bundle or nowhere");
  }
  return {item.kind, {}, target.string()};
}

std::string readSealFile(const fs::path& bundle) {
  return readBounded(bundle / signatureFolder(bundle) / kSealFile, platform::plist::kMaxFileBytes, "seal");
}

std::string readSignatureFile(const fs::path& bundle) {
  return readBounded(bundle / signatureFolder(bundle) / kSignatureFile, kMaxSignatureBytes, "signature");
}

}  // namespace codesign
