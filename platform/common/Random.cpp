#include "platform/Random.h"

#include <atomic>
#include <cstdlib>

namespace platform {
namespace {

std::atomic<RandomSource*>& replacementSource() {
  static std::atomic<RandomSource*> replacement{nullptr};
  return replacement;
}

RandomSource& systemSource() {
  static RandomSource instance;
  return instance;
}

}  // namespace

std::uint32_t RandomSource::next() {
  return arc4random();
}

RandomSource& randomSource() {
  RandomSource* replacement = replacementSource().load(std::memory_order_acquire);
  return replacement != nullptr ? *replacement : systemSource();
}

void setRandomSource(RandomSource* replacement) {
  replacementSource().store(replacement, std::memory_order_release);
}

}  // namespace platform
