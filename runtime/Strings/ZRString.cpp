#include "runtime/Strings/ZRString.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "runtime/Code/ZRFormat.h"
#include "runtime/Code/ZRResult.h"

namespace {

char asciiLower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}
char asciiUpper(char c) {
  return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

const char* checkedText(const char* text) {
  if (text != nullptr) return text;
  zrAssertionFailed(ZR_HERE,
                    "NULL pointer passed to ZRNarrowStringBase::_constructorImpl(char*, int32, int32)");
  return "";
}

}  // namespace

ZRString::ZRString(const char* text) : ZRNarrowStringBase(checkedText(text)) {}

ZRString::ZRString(std::string text) : ZRNarrowStringBase(std::move(text)) {}

ZRString::ZRString(std::string_view text) : ZRNarrowStringBase(std::string(text)) {}

ZRString::ZRString(const char* text, std::int32_t length) {
  if (length < 0) {
    zrAssertionFailed(ZR_HERE, "Negative length in %s", __func__);
    return;
  }
  const char* checked = checkedText(text);
  _buffer.assign(checked, text == nullptr ? 0 : static_cast<std::size_t>(length));
}

ZRString& ZRString::operator=(const char* text) {
  _buffer = text == nullptr ? "(null)" : text;
  return *this;
}

ZRString& ZRString::operator+=(const char* text) {
  if (text == nullptr) {
    zrAssertionFailed(ZR_HERE, "Failure in ZRString += operator");
    return *this;
  }
  _buffer += text;
  return *this;
}

ZRString& ZRString::operator+=(const ZRString& text) {
  _buffer += text._buffer;
  return *this;
}

ZRString& ZRString::operator+=(char character) {
  _buffer += character;
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
  if (start < 0 || start > length()) {
    zrAssertionFailed(ZR_HERE, "Bounds check failed in %s", __func__);
    return {};
  }
  return ZRString(_buffer.substr(static_cast<std::size_t>(start)));
}

ZRString ZRString::substr(std::int32_t start, std::int32_t count) const {
  if (count < 0) {
    zrAssertionFailed(ZR_HERE, "Negative length in %s", __func__);
    return {};
  }
  if (start < 0 || start > length() || count > length() - start) {
    zrAssertionFailed(ZR_HERE, "Bounds check failed in %s", __func__);
    return {};
  }
  return ZRString(_buffer.substr(static_cast<std::size_t>(start), static_cast<std::size_t>(count)));
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
  if (search.empty()) {
    zrAssertionFailed(ZR_HERE, "Empty string in %s", __func__);
    return;
  }
  const std::size_t found = _buffer.find(search);
  if (found != npos) _buffer.replace(found, search.size(), replacement);
}

void ZRString::replaceAll(std::string_view search, std::string_view replacement) {
  if (search.empty()) {
    zrAssertionFailed(ZR_HERE, "Empty string in %s", __func__);
    return;
  }
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

void ZRString::toUpper() {
  for (char& c : _buffer)
    c = asciiUpper(c);
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

std::string ZRString::toPlatformString() const {
  return std::string(c_str());
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
