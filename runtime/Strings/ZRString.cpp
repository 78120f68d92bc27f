#include "runtime/Strings/ZRString.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "runtime/Code/ZRFormat.h"
#include "runtime/Code/ZRLog.h"
#include "runtime/Code/ZRResult.h"
#include "runtime/Strings/ZRUtf8.h"

namespace {

constexpr std::size_t kMaxLength = 0x7FFFFFFF;
constexpr const char* kAppendFailure = "Failure in ZRString += operator";

char asciiLower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

/// A null text is reported, and empty. `location` is the operation that was given it.
const char* checkedText(const char* text, const ZRLocation& location) {
  if (text != nullptr) return text;
  zrAssertionFailed(location,
                    "NULL pointer passed to ZRNarrowStringBase::_constructorImpl(char*, int32, int32)");
  return "";
}

/// Makes a change after which the text has `newLength` bytes; one that cannot be made is reported, with the
/// operation's location.
template <typename Change>
void attempt(const char* failure, const ZRLocation& location, std::size_t newLength, Change change) {
  try {
    if (newLength <= kMaxLength) return change();
  } catch (const std::bad_alloc&) {  // NOLINT: reported below
  }
  zrAssertionFailed(location, "%s", failure);
}

/// Whether something can be searched for; if not, that is reported with `failure`.
bool isSearchable(std::string_view search, const char* failure, const ZRLocation& location) {
  if (!search.empty()) return true;
  zrReport(ZRLogLevel::eCritical, ZRResult(ZRError::eBadParameter, "Empty string in %s", location.function),
           failure, location);
  return false;
}

}  // namespace

ZRString::ZRString(const char* text) : ZRNarrowStringBase(checkedText(text, ZR_HERE)) {}

ZRString::ZRString(std::string text) : ZRNarrowStringBase(std::move(text)) {}

ZRString::ZRString(std::string_view text) : ZRNarrowStringBase(std::string(text)) {}

ZRString::ZRString(const char* text, std::int32_t length) {
  if (length < 0) {
    zrAssertionFailed(ZR_HERE, "Negative length in %s", __func__);
    return;
  }
  const char* checked = checkedText(text, ZR_HERE);
  _buffer.assign(checked, text == nullptr ? 0 : static_cast<std::size_t>(length));
}

ZRString::ZRString(const ZRString& text) : ZRNarrowStringBase() {
  attempt("Failure in ZRString(ZRString&) constructor", ZR_HERE, text._buffer.size(),
          [&] { _buffer = text._buffer; });
}

ZRString& ZRString::operator=(const char* text) {
  const std::string_view stored = text == nullptr ? "(null)" : text;
  attempt("Failure in ZRString = operator", ZR_HERE, stored.size(), [&] { _buffer = stored; });
  return *this;
}

ZRString& ZRString::operator=(const ZRString& text) {
  attempt("Failure in ZRString = operator", ZR_HERE, text._buffer.size(), [&] { _buffer = text._buffer; });
  return *this;
}

ZRString& ZRString::operator+=(const char* text) {
  const std::size_t newLength = text == nullptr ? npos : _buffer.size() + std::strlen(text);
  attempt(kAppendFailure, ZR_HERE, newLength, [&] { _buffer += text; });
  return *this;
}

ZRString& ZRString::operator+=(const ZRString& text) {
  attempt(kAppendFailure, ZR_HERE, _buffer.size() + text._buffer.size(), [&] { _buffer += text._buffer; });
  return *this;
}

ZRString& ZRString::operator+=(char character) {
  attempt(kAppendFailure, ZR_HERE, _buffer.size() + 1, [&] { _buffer += character; });
  return *this;
}

ZRString ZRString::format(std::size_t maxLength, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  std::string text = zrrt::formatText(maxLength, format, arguments);
  va_end(arguments);
  return ZRString(std::move(text));
}

ZRString ZRString::substr(std::int32_t start) const {
  ZRString piece;
  const std::int32_t count = std::max(length() - std::max(start, 0), 0);
  zrReport(ZRLogLevel::eCritical, extract(start, count, piece), "Unexpected error in ZRString::substr(int32)",
           ZR_HERE);
  return piece;
}

ZRString ZRString::substr(std::int32_t start, std::int32_t count) const {
  ZRString piece;
  zrReport(ZRLogLevel::eCritical, extract(start, count, piece),
           "Unexpected error in ZRString::substr(int32, int32)", ZR_HERE);
  return piece;
}

ZRResult ZRString::extract(std::int32_t start, std::int32_t count, ZRString& piece) const {
  if (count < 0) return ZRResult(ZRError::eBadParameter, "Negative length in %s", "substr");
  if (start < 0 || start > length() || count > length() - start) {
    return ZRResult(ZRError::eBadIndex, "Bounds check failed in %s", "substr");
  }
  piece = ZRString(view().substr(static_cast<std::size_t>(start), static_cast<std::size_t>(count)));
  return ZRError::eNoError;
}

std::size_t ZRString::find(std::string_view text, std::size_t from) const {
  return view().find(text, from);
}

std::size_t ZRString::find(char character, std::size_t from) const {
  return view().find(character, from);
}

std::size_t ZRString::findLast(char character) const {
  return view().rfind(character);
}

std::size_t ZRString::findFirstOf(std::string_view set, std::size_t from) const {
  return view().find_first_of(set, from);
}

std::size_t ZRString::findFirstNotOf(std::string_view set, std::size_t from) const {
  return view().find_first_not_of(set, from);
}

bool ZRString::startsWith(std::string_view text) const {
  return view().substr(0, text.size()) == text;
}

bool ZRString::endsWith(std::string_view text) const {
  return text.size() <= _buffer.size() && view().substr(_buffer.size() - text.size()) == text;
}

void ZRString::trimLeft(std::string_view set) {
  const std::size_t first = _buffer.find_first_not_of(set);
  _buffer.erase(0, first == npos ? _buffer.size() : first);
}

void ZRString::trimRight(std::string_view set) {
  const std::size_t last = _buffer.find_last_not_of(set);
  _buffer.resize(last == npos ? 0 : last + 1);
}

void ZRString::trim(std::string_view set) {
  trimRight(set);
  trimLeft(set);
}

void ZRString::replaceFirst(std::string_view search, std::string_view replacement) {
  if (!isSearchable(search, "Unexpected error in replaceFirst()", ZR_HERE)) return;
  const std::size_t found = _buffer.find(search);
  if (found != npos) _buffer.replace(found, search.size(), replacement);
}

void ZRString::replaceAll(std::string_view search, std::string_view replacement) {
  if (!isSearchable(search, "Unexpected error in replaceAll()", ZR_HERE)) return;
  std::string replaced;
  std::size_t from = 0;
  for (std::size_t found; (found = _buffer.find(search, from)) != npos; from = found + search.size()) {
    replaced.append(_buffer, from, found - from).append(replacement);
  }
  _buffer = replaced.append(_buffer, from);
}

void ZRString::toLower() {
  for (char& c : _buffer)
    c = asciiLower(c);
}

ZRResult ZRString::toInteger(std::int32_t radix, long& value) const {
  if (radix < 2 || radix > 36) {
    return ZRResult(ZRError::eBadParameter, "Radix %d in %s", radix, __func__);
  }
  char* end = nullptr;
  const long converted = std::strtol(c_str(), &end, radix);
  if (end == c_str()) {
    return ZRResult(ZRError::eBadFormat, "String \"%s\" not a number in %s", c_str(), __func__);
  }
  value = converted;
  return ZRError::eNoError;
}

std::vector<ZRString> ZRString::split(char separator) const {
  std::vector<ZRString> pieces;
  std::size_t from = 0;
  for (std::size_t found; (found = _buffer.find(separator, from)) != npos; from = found + 1) {
    pieces.emplace_back(view().substr(from, found - from));
  }
  pieces.emplace_back(view().substr(from));
  return pieces;
}

ZRResult ZRString::assignPlatformString(const char* text) {
  ZR_CHECK_PARAMETER(text);
  _buffer.clear();
  if (!zrrt::isUtf8(text)) return ZRResult(ZRError::eSomeError, "CFStringGetCString failed");
  _buffer = text;
  return ZRError::eNoError;
}

ZRString ZRString::fromPlatformString(const std::string& text) {
  ZRString string;
  zrReport(ZRLogLevel::eCritical, string.assignPlatformString(text.c_str()),
           "Failure in ZRString(CFStringRef) constructor", ZR_HERE);
  return string;
}

ZRResult ZRString::toPlatformString(std::string& text) const {
  text = c_str();
  if (zrrt::isUtf8(text)) return ZRError::eNoError;
  text.clear();
  return ZRResult(ZRError::eSomeError, "CFStringCreateWithCString failed");
}

std::string ZRString::toPlatformString() const {
  std::string text;
  if (toPlatformString(text).isFailure()) {
    zrrt::log(ZRLogLevel::eError, "Failed to create CFString from ZRString, returning empty CFString");
  }
  return text;
}

ZRString operator+(const ZRString& a, const ZRString& b) {
  return ZRString(a.str() + b.str());
}

ZRString operator+(const ZRString& a, const char* b) {
  ZRString joined = a;
  return joined += b;
}

ZRString operator+(const char* a, const ZRString& b) {
  ZRString joined(a);
  return joined += b;
}
