#include "tools/packager/BundleTree.h"

#include <algorithm>
#include <stdexcept>

#include "Code/Common/BundleExecutables.h"
#include "Code/Common/DeltaPackageFormat.h"

namespace packager {

namespace fs = std::filesystem;

namespace {

[[noreturn]] void refuse(const std::string& path, const char* reason) {
  throw std::runtime_error("\"" + path + "\" cannot be delivered by a delta package: " + reason);
}

TreeItem examine(const fs::directory_entry& entry, std::string path) {
  const fs::file_status status = entry.symlink_status();
  TreeItem item{std::move(path)};
  switch (status.type()) {
    case fs::file_type::directory:
      item.kind = TreeItem::Kind::folder;
      break;
    case fs::file_type::symlink:
      item.kind = TreeItem::Kind::link;
      break;
    case fs::file_type::regular:
      item.sizeBytes = entry.file_size();
      item.executable = (status.permissions() & fs::perms{0111}) != fs::perms::none;
      break;
    default:
      refuse(item.path, "it is neither a file nor a folder nor a link");
  }
  return item;
}

void requireDeliverableName(const TreeItem& item) {
  if (item.path.find('\n') != std::string::npos) refuse(item.path, "its path holds a line feed");
  if (item.path == kCheckSumsName) refuse(item.path, "the digest list has that name");
  if (item.kind != TreeItem::Kind::folder && item.path.ends_with(kPatchSuffix)) {
    refuse(item.path, "it would be taken for a patch");
  }
}

void requireLinkInside(const fs::path& bundle, const TreeItem& item) {
  const fs::path link = bundle / item.path;
  const fs::path target = fs::weakly_canonical(link.parent_path() / fs::read_symlink(link));
  const fs::path below = target.lexically_relative(bundle);
  if (below.empty() || *below.begin() == "..") refuse(item.path, "the link leads outside the bundle");
}

void requireExecutables(const fs::path& bundle) {
  for (const char* executable : kBundleExecutables) {
    if (!fs::is_regular_file(bundle / executable)) {
      throw std::runtime_error("the bundle " + bundle.string() + " lacks \"" + executable + "\"");
    }
  }
}

std::vector<TreeItem> itemsOf(const fs::path& bundle) {
  std::vector<TreeItem> items;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(bundle)) {
    items.push_back(examine(entry, entry.path().lexically_relative(bundle).string()));
  }
  std::sort(items.begin(), items.end(), [](const TreeItem& a, const TreeItem& b) { return a.path < b.path; });
  return items;
}

}  // namespace

std::vector<TreeItem> deliverableItems(const fs::path& bundle) {
  const fs::path root = fs::canonical(bundle);
  requireExecutables(root);
  std::vector<TreeItem> items = itemsOf(root);
  for (const TreeItem& item : items) {
    requireDeliverableName(item);
    if (item.kind == TreeItem::Kind::link) requireLinkInside(root, item);
  }
  return items;
}

}  // namespace packager
