#include "platform/macos/CoreFoundation.h"

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
  const CFOwner list(CFDataCreate(kCFAllocatorDefault, coreBytes(xml), indexOf(xml.size())));
  if (!list) return {};
  return CFOwner(CFPropertyListCreateWithData(kCFAllocatorDefault, list.get(), kCFPropertyListImmutable,
                                              nullptr, nullptr));
}

std::optional<plist::Value> valueOf(CFPropertyListRef object) {
  if (object == nullptr) return std::nullopt;
  const CFOwner list(
      CFPropertyListCreateData(kCFAllocatorDefault, object, kCFPropertyListBinaryFormat_v1_0, 0, nullptr));
  plist::Value value;
  const auto read = [&value](CFDataRef data) {
    const auto* bytes = reinterpret_cast<const char*>(CFDataGetBytePtr(data));
    return plist::parse({bytes, static_cast<std::size_t>(CFDataGetLength(data))}, value);
  };
  return list && !read(list.get()).failed() ? std::optional(std::move(value)) : std::nullopt;
}

}  // namespace platform
