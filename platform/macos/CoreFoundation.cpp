#include "platform/macos/CoreFoundation.h"

#include "platform/common/PropertyListFormats.h"

namespace platform {
namespace {

CFIndex indexOf(std::size_t size) {
  return static_cast<CFIndex>(size);
}

}  // namespace

const UInt8* coreBytes(std::string_view text) {
  return reinterpret_cast<const UInt8*>(text.data());
}

CFOwner<CFStringRef> coreText(std::string_view text) {
  return CFOwner(CFStringCreateWithBytes(kCFAllocatorDefault, coreBytes(text), indexOf(text.size()),
                                         kCFStringEncodingUTF8, false));
}

std::optional<std::string> utf8Text(CFStringRef text) {
  if (text == nullptr) return std::nullopt;
  const CFIndex size = CFStringGetMaximumSizeForEncoding(CFStringGetLength(text), kCFStringEncodingUTF8);
  if (size == kCFNotFound) return std::nullopt;
  std::string bytes(static_cast<std::size_t>(size) + 1, '\0');
  if (CFStringGetCString(text, bytes.data(), indexOf(bytes.size()), kCFStringEncodingUTF8) == 0)
    return std::nullopt;
  return bytes.c_str();
}

CFOwner<CFURLRef> coreFolderUrl(const std::string& path) {
  return CFOwner(CFURLCreateFromFileSystemRepresentation(kCFAllocatorDefault, coreBytes(path),
                                                         indexOf(path.size()), true));
}

Date dateOf(CFDateRef date) {
  return Date(Seconds(CFDateGetAbsoluteTime(date) + kCFAbsoluteTimeIntervalSince1970));
}

CFOwner<CFPropertyListRef> coreValue(const plist::Value& value) {
  const std::string xml = plist::toXml(value);
  if (xml.find("<key>" + std::string(plist::kUidKey) + "</key>") != std::string::npos) return {};
  const CFOwner list(CFDataCreate(kCFAllocatorDefault, coreBytes(xml), indexOf(xml.size())));
  if (!list) return {};
  return CFOwner(CFPropertyListCreateWithData(kCFAllocatorDefault, list.get(), kCFPropertyListImmutable,
                                              nullptr, nullptr));
}

std::optional<plist::Value> valueOf(CFPropertyListRef object) {
  if (object == nullptr) return std::nullopt;
  const CFOwner list(
      CFPropertyListCreateData(kCFAllocatorDefault, object, kCFPropertyListBinaryFormat_v1_0, 0, nullptr));
  if (!list) return std::nullopt;
  const auto* bytes = reinterpret_cast<const char*>(CFDataGetBytePtr(list.get()));
  plist::Value value;
  const Error error =
      plist::parseBinary({bytes, static_cast<std::size_t>(CFDataGetLength(list.get()))}, value);
  return error.failed() ? std::nullopt : std::optional(std::move(value));
}

}  // namespace platform
