#include "runtime/File/ZRFileFind.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>
#include <string>
#include <string_view>

namespace {

constexpr std::string_view kSpecialCharacters = "*?.";

// One "?" of a run that ends before `next` (0 at the end of the pattern) and follows `previous`. Beside a "*"
// it asks for nothing that the "*" does not give.
std::string_view anyCharacter(char previous, char next) {
  if (previous == '*' || next == '*') return "";
  return next == '.' ? "." : ".?";
}

char characterAt(std::string_view text, std::size_t position) {
  return position < text.size() ? text[position] : '\0';
}

}  // namespace

ZRFileFind::ZRFileFind() = default;
ZRFileFind::~ZRFileFind() = default;

void ZRFileFind::ExpressionRelease::operator()(regex_t* expression) const noexcept {
  regfree(expression);
  std::default_delete<regex_t>()(expression);
}

ZRString ZRFileFind::regularExpression(const ZRString& pattern, bool& holdsDot) {
  const std::string_view text = pattern.view();
  std::string expression = "^";
  holdsDot = false;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t special = std::min(text.find_first_of(kSpecialCharacters, at), text.size());
    expression += text.substr(at, special - at);
    if (special == text.size()) break;
    const char kind = text[special];
    const std::size_t runEnd = std::min(text.find_first_not_of(kind, special), text.size());
    at = kind == '.' ? special + 1 : runEnd;
    if (kind == '*') expression += ".*";
    if (kind == '.') {
      expression += "\\.";
      holdsDot = true;
    }
    if (kind == '?') {
      const char previous = special == 0 ? '\0' : text[special - 1];
      for (std::size_t count = special; count < runEnd; ++count) {
        expression += anyCharacter(previous, characterAt(text, runEnd));
      }
    }
  }
  if (!holdsDot && !ZRString(expression).endsWith(".*")) expression += "\\.";
  return ZRString(expression + "$");
}

ZRResult ZRFileFind::systemFailure(const char* call, int number) {
  _systemError = number;
  return ZRResult::fromSystemError(call, number);
}

ZRResult ZRFileFind::compilePattern() {
  const ZRString expression = regularExpression(_pattern, _patternHoldsDot);
  auto compiled = std::make_unique<regex_t>();
  const int outcome = regcomp(compiled.get(), expression.c_str(), REG_EXTENDED | REG_NOSUB);
  if (outcome != 0) {
    std::array<char, 128> reason{};
    regerror(outcome, compiled.get(), reason.data(), reason.size());
    ZRResult failure = systemFailure("regcomp()", outcome == REG_ESPACE ? ENOMEM : EINVAL);
    failure.append("%s", reason.data());
    return failure;
  }
  _expression.reset(compiled.release());
  return ZRError::eNoError;
}

ZRResult ZRFileFind::getFirst(const ZRString& folder, const ZRString& pattern, ZRString& name) {
  _stream.reset();
  _expression.reset();
  _systemError = 0;
  if (folder.isEmpty() || pattern.isEmpty()) return ZRError::ePreconditionFailed;
  _folder = folder;
  _pattern = pattern;
  ZR_RETURN_FAILURE(compilePattern());
  _stream.reset(opendir(_folder.c_str()));
  if (_stream == nullptr) return systemFailure("opendir()", errno);
  const ZRResult first = getNext(name);
  if (first.code() == ZRError::eEnd) {
    return ZRResult(ZRError::eNotFound,
                    "ZRFileFind::getFirst() - No files found matching the specified pattern");
  }
  ZR_RETURN_FAILURE(first);
  return ZRError::eNoError;
}

/// To a pattern without a dot, a name without one ends in it.
std::string ZRFileFind::matchedText(const char* name) const {
  std::string text(name);
  if (!_patternHoldsDot && text.find('.') == std::string::npos) text += '.';
  return text;
}

ZRResult ZRFileFind::getNext(ZRString& name) {
  if (_stream == nullptr) return ZRError::ePreconditionFailed;
  for (;;) {
    errno = 0;
    const dirent* entry = readdir(_stream.get());
    if (entry == nullptr && errno != 0) return systemFailure("readdir()", errno);
    if (entry == nullptr) return ZRResult(ZRError::eEnd, "ZRFileFind::getNext() - No more files");
    const int outcome = regexec(_expression.get(), matchedText(entry->d_name).c_str(), 0, nullptr, 0);
    if (outcome == 0) {
      name = ZRString(entry->d_name);
      return ZRError::eNoError;
    }
    if (outcome != REG_NOMATCH) return systemFailure("regexec()", ENOMEM);
  }
}
