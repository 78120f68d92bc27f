#include <gtest/gtest.h>

#include "Shared/Code/MacOSX/HOLLogManager.h"

namespace {

TEST(LogManager, NamesTheFolderByBundleAndProcessInStandardForm) {
  const auto path = HOLLogManager::processLogFolderPath;
  EXPECT_EQ(path("/h/Library/Logs", std::nullopt, 42), "/h/Library/Logs");
  EXPECT_EQ(path("//h/./x/../Library//Logs/", "b", 42), "/h/Library/Logs/b/42");
  EXPECT_EQ(path("/../..", std::nullopt, 42), "/");
}

}  // namespace
