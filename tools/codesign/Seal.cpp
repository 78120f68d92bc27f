#include "tools/codesign/Seal.h"

#include "platform/PropertyList.h"

namespace codesign {
namespace {

namespace plist = platform::plist;

constexpr const char* kItems = "files2";
constexpr const char* kFileDigest = "hash2";
constexpr const char* kLinkTarget = "symlink";
constexpr const char* kBundleDigest = "cdhash";

plist::Dictionary toDictionary(const SealedItem& item) {
  switch (item.kind) {
    case SealedItem::Kind::link:
      return {{kLinkTarget, item.target}};
    case SealedItem::Kind::bundle:
      return {{kBundleDigest, item.digest}};
    case SealedItem::Kind::file:
      break;
  }
  return {{kFileDigest, item.digest}};
}

[[noreturn]] void refuse(const std::string& path) {
  throw CodeSignatureError("the seal has a malformed entry for " + path);
}

Digest digestFrom(const std::string& path, const plist::Value& value) {
  const auto* bytes = value.as<plist::Data>();
  if (bytes == nullptr || bytes->size() != 32) refuse(path);
  return *bytes;
}

SealedItem itemFrom(const std::string& path, const plist::Value& value) {
  const auto* members = value.as<plist::Dictionary>();
  if (members == nullptr || members->size() != 1) refuse(path);
  const auto& [name, content] = *members->begin();
  if (name == kFileDigest) return {SealedItem::Kind::file, digestFrom(path, content), {}};
  if (name == kBundleDigest) return {SealedItem::Kind::bundle, digestFrom(path, content), {}};
  const auto* target = name == kLinkTarget ? content.as<std::string>() : nullptr;
  if (target == nullptr) refuse(path);
  return {SealedItem::Kind::link, {}, *target};
}

}  // namespace

std::string toPropertyList(const Seal& seal) {
  plist::Dictionary items;
  for (const auto& [path, item] : seal)
    items.emplace(path, toDictionary(item));
  return plist::toXml(plist::Dictionary{{kItems, std::move(items)}});
}

Seal sealFromPropertyList(const std::string& bytes) {
  plist::Value list;
  if (const auto error = plist::parse(bytes, list)) {
    throw CodeSignatureError("the seal cannot be read: " + error.description);
  }
  const auto* top = list.as<plist::Dictionary>();
  const auto* member = top != nullptr ? plist::find(*top, kItems) : nullptr;
  const auto* items = member != nullptr ? member->as<plist::Dictionary>() : nullptr;
  if (items == nullptr) throw CodeSignatureError("the seal lists no items");
  Seal seal;
  for (const auto& [path, value] : *items)
    seal.emplace(path, itemFrom(path, value));
  return seal;
}

}  // namespace codesign
