#include "runtime/Code/ZRLogData.h"

namespace {

const char* orEmpty(const char* text) {
  return text != nullptr ? text : "";
}

/// Most entries lack most of their texts.
void keep(const char* text, std::string& kept) {
  if (text == nullptr || *text == '\0') {
    kept.clear();
  } else {
    kept = text;
  }
}

}  // namespace

void ZRLogBuffer::store(const ZRLogEntry& entry) {
  _data.level = entry.level;
  keep(entry.processTag, _data.processTag);
  keep(entry.threadTag, _data.threadTag);
  keep(entry.context, _data.context);
  keep(entry.function, _data.function);
  keep(entry.message, _data.message);
}

ZRLogEntry ZRLogBuffer::entry() const {
  return {_data.level,           _data.processTag.c_str(), _data.threadTag.c_str(),
          _data.context.c_str(), _data.function.c_str(),   _data.message.c_str()};
}

bool ZRLogBuffer::equals(const ZRLogEntry& entry) const {
  return _data.level == entry.level && _data.message == orEmpty(entry.message) &&
         _data.function == orEmpty(entry.function) && _data.context == orEmpty(entry.context) &&
         _data.threadTag == orEmpty(entry.threadTag) && _data.processTag == orEmpty(entry.processTag);
}
