#include "tools/codesign/MakerCertificates.h"

#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string_view>

#include "platform/FileContents.h"

namespace codesign {
namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t kMaxPemBytes = 64 << 10;

/// Whether the group is the user's own: named as the user, of which nobody else is a member.
bool isPrivateGroup(gid_t group, uid_t user) {
  const passwd* account = getpwuid(user);
  const ::group* entry = account != nullptr && account->pw_gid == group ? getgrgid(group) : nullptr;
  if (entry == nullptr || std::string_view(entry->gr_name) != account->pw_name) return false;
  for (char** member = entry->gr_mem; *member != nullptr; ++member) {
    if (std::string_view(*member) != account->pw_name) return false;
  }
  return true;
}

enum class Place { above, trusted };

/// Throws when somebody else than root and the user could change the item at the path or, in a folder above
/// what is trusted, put something else in its place: the sticky bit keeps them from that.
void checkOwn(const fs::path& path, Place place) {
  struct stat status {};
  if (lstat(path.c_str(), &status) != 0) throw CodeSignatureError(path.string() + " cannot be examined");
  if (S_ISLNK(status.st_mode)) throw CodeSignatureError(path.string() + " is a link");
  if (status.st_uid != 0 && status.st_uid != geteuid()) {
    throw CodeSignatureError(path.string() + " belongs to another user");
  }
  const bool isShared = (status.st_mode & S_IWOTH) != 0 ||
                        ((status.st_mode & S_IWGRP) != 0 && !isPrivateGroup(status.st_gid, status.st_uid));
  const bool isSticky = place == Place::above && (status.st_mode & S_ISVTX) != 0;
  if (isShared && !isSticky) throw CodeSignatureError(path.string() + " can be written by others");
}

/// A folder is as good as the worst of those it lies in.
void checkFolders(const fs::path& folder) {
  fs::path above;
  for (const fs::path& name : folder) {
    above /= name;
    checkOwn(above, above == folder ? Place::trusted : Place::above);
  }
}

}  // namespace

fs::path makerCertificateFolder(const fs::path& verifier) {
  return verifier.parent_path().parent_path() / "share/vantora/signing-certificates";
}

std::vector<std::string> readMakerCertificates(const fs::path& folder) {
  std::vector<std::string> certificates;
  if (!fs::is_directory(folder)) throw CodeSignatureError("no maker certificates in " + folder.string());
  checkFolders(fs::absolute(folder));
  for (const auto& entry : fs::directory_iterator(folder)) {
    if (entry.path().extension() != ".pem") continue;
    checkOwn(entry.path(), Place::trusted);
    const auto error = platform::readFile(entry.path(), kMaxPemBytes, certificates.emplace_back());
    if (error.failed()) throw CodeSignatureError(error.description);
  }
  if (certificates.empty()) throw CodeSignatureError("no maker certificates in " + folder.string());
  return certificates;
}

}  // namespace codesign
