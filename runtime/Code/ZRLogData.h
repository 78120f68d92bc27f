#pragma once

#include <cstdint>
#include <string>

#include "runtime/Code/ZRLog.h"

/// An entry as stored: its level and its five texts, owned.
class ILogBuffer {
 public:
  virtual ~ILogBuffer() = default;
  virtual void store(const ZRLogEntry& entry) = 0;
  /// The stored entry; its texts live as long as nothing else is stored.
  [[nodiscard]] virtual ZRLogEntry entry() const = 0;
  /// Whether the level and all five texts are the same (an absent text equals an empty one).
  [[nodiscard]] virtual bool equals(const ZRLogEntry& entry) const = 0;
};

struct ZRLogData {
  std::int32_t level = ZRLogLevel::eNone;
  std::string processTag;
  std::string threadTag;
  std::string context;
  std::string function;
  std::string message;
};

class ZRLogBuffer final : public ILogBuffer {
 public:
  void store(const ZRLogEntry& entry) override;
  [[nodiscard]] ZRLogEntry entry() const override;
  [[nodiscard]] bool equals(const ZRLogEntry& entry) const override;

 private:
  ZRLogData _data;
};
