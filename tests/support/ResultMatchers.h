#pragma once

#include <gtest/gtest.h>

#include <cstdint>

#include "runtime/Code/ZRResult.h"

namespace test {

/// Whether the result has that code; the failure text shows the whole result.
inline ::testing::AssertionResult hasCode(const char* resultText, const char* codeText,
                                          const ZRResult& result, std::uint32_t code) {
  if (result.code() == code) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure()
         << resultText << " is " << result.codeText().c_str() << ", not " << codeText << " (" << code << ")"
         << (result.hasMessage() ? "\n\t" : "") << result.message().c_str();
}

}  // namespace test

/// Shows code, message and location of a result that has another code.
#define EXPECT_CODE(result, expected) EXPECT_PRED_FORMAT2(::test::hasCode, result, expected)
#define ASSERT_CODE(result, expected) ASSERT_PRED_FORMAT2(::test::hasCode, result, expected)
