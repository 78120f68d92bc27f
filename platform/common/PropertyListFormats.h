#pragma once

#include <string>
#include <string_view>

#include "platform/PropertyList.h"

/// The two forms of a property list. Each reader sets `value` only on success.
namespace platform::plist {

inline constexpr std::string_view kBinaryMagic = "bplist00";
/// How a reference number is written in XML: a dictionary with this one key.
inline constexpr const char* kUidKey = "CF$UID";

Error parseXml(const std::string& bytes, Value& value);
Error parseBinary(std::string_view bytes, Value& value);

/// The error of a list that cannot be read.
Error malformed(const std::string& what);

/// The text with U+FFFD for each character that XML has no way to write and each byte that is no UTF-8.
[[nodiscard]] std::string xmlText(std::string_view text);

[[nodiscard]] std::string encodeBase64(const Data& data);
/// Blanks and line ends count for nothing anywhere; all else must be exact.
[[nodiscard]] bool decodeBase64(std::string_view text, Data& data);

/// Appends the code point as UTF-8.
void appendUtf8(std::uint32_t codePoint, std::string& text);
/// Takes one code point off the front; false when the text is not well-formed there (overlong, surrogate,
/// beyond U+10FFFF, cut short).
[[nodiscard]] bool takeUtf8(std::string_view& text, std::uint32_t& codePoint);

}  // namespace platform::plist
