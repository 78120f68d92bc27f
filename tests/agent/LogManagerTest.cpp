#include <gtest/gtest.h>

#include "Shared/Code/MacOSX/HOLLogManager.h"
#include "tests/support/Environment.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ResultMatchers.h"

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

TEST(LogManager, MakesTheProcessFolder) {
  const test::Sandbox sandbox;
  ZRString folder;
  ASSERT_CODE(HOLLogManager::logFolder(folder), ZRError::eNoError);
  EXPECT_EQ(folder.str(), sandbox.library() + "/Logs");
  EXPECT_FALSE(test::exists(folder.str()));
  ASSERT_CODE(HOLLogManager::processLogFolder(folder), ZRError::eNoError);
  EXPECT_EQ(folder.str(), sandbox.library() + "/Logs");  // a test program belongs to no bundle
  EXPECT_TRUE(test::exists(folder.str()));
}

TEST(LogManager, ReportsAFolderThatCannotBeMade) {
  const test::Sandbox sandbox;
  test::writeFile(sandbox.library() + "/Logs", "in the way");
  test::LogCapture log;
  ZRString folder;
  EXPECT_CODE(HOLLogManager::processLogFolder(folder), ZRError::eExists);
  EXPECT_TRUE(log.contains("E: ", "Error returned at processLogFolder")) << log.text();
}

}  // namespace
