#include <gtest/gtest.h>

#include "Shared/Code/MacOSX/HOLLogManager.h"

namespace {

TEST(LogManager, NamesTheFolderByBundleAndProcessInStandardForm) {
  struct Case {
    const char* logs;
    std::optional<std::string> bundle;
    const char* path;
  };
  const Case cases[] = {
      {"/h/Library/Logs", std::nullopt, "/h/Library/Logs"},
      {"/h/Library/Logs", "com.korvane.Vantora", "/h/Library/Logs/com.korvane.Vantora/42"},
      {"//h/./x/../Library//Logs/", "b", "/h/Library/Logs/b/42"},
      {"/../..", std::nullopt, "/"},
  };
  for (const Case& c : cases)
    EXPECT_EQ(HOLLogManager::processLogFolderPath(c.logs, c.bundle, 42), c.path);
}

}  // namespace
