#include "runtime/Applications/ZRProcessEnvironment.h"

ZRResult ZRProcessEnvironment::addEntry(const char* text) {
  ZR_CHECK_PARAMETER(text);
  const std::string_view entry(text);
  const std::size_t equals = entry.find('=');
  if (equals == std::string_view::npos || equals == 0) return ZRError::eBadFormat;
  const ZRString name(entry.substr(0, equals));
  ZRString trimmed = name;
  trimmed.trim(" \n\r\t");
  if (!(trimmed == name)) return ZRError::eBadFormat;
  set(name, ZRString(entry.substr(equals + 1)));
  return ZRError::eNoError;
}

ZRResult ZRProcessEnvironment::get(const ZRString& name, ZRString& value) const {
  const auto found = _values.find(name);
  if (found == _values.end()) return ZRError::eNotFound;
  value = found->second;
  return ZRError::eNoError;
}

std::vector<std::string> ZRProcessEnvironment::entries() const {
  std::vector<std::string> texts;
  texts.reserve(_values.size());
  for (const auto& [name, value] : _values)
    texts.push_back(name.str() + "=" + value.str());
  return texts;
}
