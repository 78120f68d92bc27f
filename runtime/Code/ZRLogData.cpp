#include "runtime/Code/ZRLogData.h"

namespace {

const char* orEmpty(const char* text) {
  return text != nullptr ? text : "";
}

}  // namespace

void ZRLogBuffer::store(const ZRLogEntry& entry) {
  _data.level = entry.level;
  _data.processTag = orEmpty(entry.processTag);
  _data.threadTag = orEmpty(entry.threadTag);
  _data.context = orEmpty(entry.context);
  _data.function = orEmpty(entry.function);
  _data.message = orEmpty(entry.message);
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
