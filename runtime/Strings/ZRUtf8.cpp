#include "runtime/Strings/ZRUtf8.h"

#include <boost/locale/utf.hpp>

namespace zrrt {

bool isUtf8(std::string_view text) {
  using Utf8 = boost::locale::utf::utf_traits<char>;
  for (auto next = text.begin(); next != text.end();) {
    if (!boost::locale::utf::is_valid_codepoint(Utf8::decode(next, text.end()))) return false;
  }
  return true;
}

}  // namespace zrrt
