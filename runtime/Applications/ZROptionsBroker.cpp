#include "runtime/Applications/ZROptionsBroker.h"

#include <strings.h>

#include "runtime/Code/ZRLog.h"

namespace {

constexpr std::string_view kMarker = "\"/";

ZRString& storedCommandLine() {
  static ZRString text;
  return text;
}

/// Behind a name without a value, the quote that closes its argument is not part of it.
ZRString withoutClosingQuote(ZRString text) {
  if (text.endsWith("\"")) text = text.substr(0, text.length() - 1);
  return text;
}

/// A masked value ("xxxx") counts as absent; the quote that closes its argument does not matter. An empty
/// value is none that was masked: its option is there.
bool isMasked(const ZRString& value) {
  const ZRString bare = withoutClosingQuote(value);
  return !bare.isEmpty() && bare.findFirstNotOf("x") == ZRString::npos;
}

}  // namespace

bool ZROptions::NameLess::operator()(const ZRString& a, const ZRString& b) const {
  return strcasecmp(a.c_str(), b.c_str()) < 0;
}

ZRResult ZROptions::getOption(const ZRString& name, ZRString& value) const {
  const auto found = _options.find(name);
  if (found == _options.end()) return ZRError::eNotFound;
  value = found->second;
  return ZRError::eNoError;
}

bool ZROptions::hasOption(const ZRString& name) const {
  ZRString ignored;
  return getOption(name, ignored).code() == ZRError::eNoError;
}

ZRResult ZROptions::setOption(const ZRString& name, const ZRString& value, bool overwrite) {
  if (!overwrite && _options.count(name) != 0) return ZRError::eExists;
  _options[name] = value;
  return ZRError::eNoError;
}

ZRResult ZROptionsBroker::parse(const char* input) {
  ZR_CHECK_PARAMETER(input);
  ZRString text(input);
  text.trimLeft();

  std::size_t marker = text.find(kMarker);
  if (marker == ZRString::npos) {
    text.replaceAll("-", "");
    text.replaceAll("/", "");
    if (!text.isEmpty()) store(text, "");
    return ZRError::eNoError;
  }
  while (marker != ZRString::npos) {
    const std::size_t start = marker + kMarker.size();
    marker = text.find(kMarker, start);
    parseOption(ZRString(text.view().substr(start, marker == ZRString::npos ? marker : marker - start)));
  }
  return ZRError::eNoError;
}

void ZROptionsBroker::parseOption(ZRString text) {
  text.trimRight();
  const std::size_t blank = text.find(' ');
  if (blank == ZRString::npos) {
    store(withoutClosingQuote(text), "");
    return;
  }
  const ZRString name(text.view().substr(0, blank));
  ZRString value(text.view().substr(blank + 1));
  if (isMasked(value)) return;
  if (value == "\"") value = "";
  if (name == "CustomParams") {
    static_cast<void>(parseCustomParams(value.c_str()));  // it fails for an empty text only
  } else {
    store(name, value);
  }
}

void ZROptionsBroker::store(const ZRString& name, const ZRString& value) {
  static_cast<void>(setOption(name, value, true));  // overwriting, it cannot fail
}

ZRResult ZROptionsBroker::parseCustomParams(const char* customParams) {
  ZR_CHECK_PARAMETER(customParams);
  ZRString text(customParams);
  if (text.isEmpty()) {
    zrrt::log(ZRLogLevel::eDebug, "%s - custom params list is empty",
              "ZRResult ZROptionsBroker::parseCustomParams(const TCHAR *)");
    return ZRError::eNotFound;
  }
  text.trimRight();
  if (text.startsWith("&")) text = text.substr(1);
  for (const ZRString& piece : text.split('&'))
    storeCustomParam(piece);
  return ZRError::eNoError;
}

void ZROptionsBroker::storeCustomParam(const ZRString& piece) {
  const std::size_t equals = piece.find('=');
  const ZRString name(piece.view().substr(0, equals));
  // A piece without "=" is its own value.
  const ZRString value(equals == ZRString::npos ? piece.view() : piece.view().substr(equals + 1));
  _customParams[name] = value;
  store("customParam_" + name, value);
}

ZRResult ZROptionsBroker::getCustomParam(const ZRString& name, ZRString& value) const {
  const auto found = _customParams.find(name);
  if (found == _customParams.end()) return ZRError::eNotFound;
  value = found->second;
  return ZRError::eNoError;
}

ZRResult ZROptionsBroker::getCommandLine(ZRString& text) const {
  text = zrrt::commandLine();
  return ZRError::eNoError;
}

namespace zrrt {

void setCommandLine(const ZRString& text) {
  storedCommandLine() = text;
}

const ZRString& commandLine() {
  return storedCommandLine();
}

}  // namespace zrrt
