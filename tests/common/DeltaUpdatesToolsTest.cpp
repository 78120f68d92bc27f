#include "Code/Common/DeltaUpdatesTools.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <string>

#include "Code/Common/BundleExecutables.h"
#include "Code/Common/CommandRunner.h"
#include "runtime/Applications/ZRProcessManager.h"
#include "runtime/Threads/ZRDynamicThreadPool.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ResultMatchers.h"
#include "tests/support/TemporaryFolder.h"
#include "tools/support/Program.h"

namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

/// An installed bundle, an unpacked package, and a folder that neither may reach.
class DeltaUpdatesToolsTest : public ::testing::Test {
 protected:
  DeltaUpdatesToolsTest() {
    if (!ZRProcessManager::instance()) {
      EXPECT_CODE(ZRProcessManager::init(), ZRError::eNoError);
    }
    makeFolders();
  }

  /// All three folders anew; outside lies one file.
  void makeFolders() const {
    for (const std::string& top : {source, delta, outside}) {
      fs::remove_all(top);
      test::makeFolder(top);
    }
    test::writeFile(outside + "/kept", "kept");
  }
  /// Puts the old file into the bundle and the patch that makes it new into the package.
  void addPatch(const std::string& name, const std::string& before, const std::string& after) const {
    test::writeFile(source + "/" + name, before);
    test::writeFile(folder / "new", after);
    tools::runProgram(
        {"/usr/bin/bsdiff", {source + "/" + name, folder / "new", delta + "/" + name + ".bsdiff"}});
  }
  void link(const std::string& target, const std::string& path) const {
    test::makeFolder(fs::path(delta + "/" + path).parent_path());
    fs::create_symlink(target, delta + "/" + path);
  }
  void pipe(const std::string& path) const { ASSERT_EQ(mkfifo((delta + "/" + path).c_str(), 0600), 0); }

  /// With a pool of its own, as in the agent: a patch that was under way when another was refused ends with
  /// it.
  ZRResult patch() {
    ZRDynamicThreadPool own("Patching", 3, 3, 30);
    return applyPatch(delta, source, &own);
  }
  ZRResult verify() { return verifyCheckSums(delta, &pool); }

  const test::TemporaryFolder folder;
  const std::string source = folder / "Vantora (1).app";
  const std::string delta = folder / "temporary files/1_2";
  const std::string outside = folder / "outside";

  ZRDynamicThreadPool pool{"Patching", 3, 3, 30};
};

TEST_F(DeltaUpdatesToolsTest, RefusesWhatCannotBePatchedOrLeadsOutside) {
  const std::string x = delta + "/x";
  const std::string xPatch = delta + "/x.bsdiff";
  struct Case {
    const char* name;
    std::uint32_t code;
    const char* message;
    std::function<void()> spoil;  ///< what was a sound package with a patch for "x"
  };
  const Case cases[] = {
      {"no old file", ZRError::eSomeError, "exit code = 1", [&] { fs::remove(source + "/x"); }},
      {"corrupt patch", ZRError::eSomeError, "exit code = 1",
       [&] { test::writeFile(xPatch, "BSDIFF40 and nothing of a patch"); }},
      {"double quote in a file's name", ZRError::eBadParameter, "double quote",
       [&] { fs::rename(xPatch, delta + "/a\" \"b.bsdiff"); }},
      {"a link to nothing yet where the new file goes", ZRError::eNoAccess, "in the way",
       [&] { link("../../outside/made", "x"); }},
      {"a second name of a file outside where the new file goes", ZRError::eNoAccess, "in the way",
       [&] { fs::create_hard_link(outside + "/kept", x); }},
      {"a pipe where the new file goes", ZRError::eNoAccess, "in the way", [&] { pipe("x"); }},
      {"a patch that is a link", ZRError::eNoAccess, "is not a file",
       [&] {
         fs::remove(xPatch);
         link(outside + "/x.bsdiff", "x.bsdiff");
       }},
      {"a link to a folder outside that holds a patch", ZRError::eNoAccess, "leads out of",
       [&] { link("../../outside", "Contents"); }},
      {"a tree that is a link itself", ZRError::eNoAccess, "is a link",
       [&] {
         fs::remove_all(delta);
         fs::create_symlink(outside, delta);
       }},
      {"no tree", ZRError::eNotFound, "realpath()", [&] { fs::remove_all(delta); }},
  };
  for (const Case& c : cases) {
    makeFolders();
    addPatch("x", "kept", "changed");
    test::writeFile(source + "/Contents/x", "kept");
    fs::copy_file(xPatch, outside + "/x.bsdiff");
    c.spoil();
    const ZRResult result = patch();
    EXPECT_CODE(result, c.code) << c.name;
    EXPECT_THAT(result.message().str(), HasSubstr(c.message)) << c.name;
    EXPECT_EQ(test::readFile(outside + "/kept"), "kept") << c.name;
    EXPECT_EQ(std::distance(fs::directory_iterator(outside), {}), 2) << c.name;
  }
}

TEST_F(DeltaUpdatesToolsTest, VerifiesTheListedFiles) {
  const std::string abc = "900150983cd24fb0d6963f7d28e17f72";
  const std::string good = "Contents/a b " + abc + "\nempty d41d8cd98f00b204e9800998ecf8427e\n";
  std::string tooMany;
  for (int line = 0; line <= 100'000; ++line)
    tooMany += "x y\n";
  struct Case {
    const char* name;
    std::string list;
    std::uint32_t code;
    const char* message = "";
  };
  const Case cases[] = {
      {"as made", good, ZRError::eNoError},
      {"a link inside, and no line end", good + "inner " + abc, ZRError::eNoError},
      {"a line without a blank", "x\n" + good, ZRError::eUnexpected},
      {"carriage returns", "Contents/a b " + abc + "\r\n", ZRError::eUnexpected},
      {"upper case", "Contents/a b 900150983CD24FB0D6963F7D28E17F72", ZRError::eUnexpected},
      {"another file's bytes", good + "empty " + abc, ZRError::eUnexpected},
      {"a missing file, then a wrong one", "gone " + abc + "\nempty " + abc, ZRError::eNotFound,
       "/gone not found"},
      {"a path that climbs out", good + "../../outside/abc " + abc, ZRError::eNotFound,
       "../../outside/abc not found"},
      {"a link out", good + "way " + abc, ZRError::eNotFound, "/way not found"},
      {"a pipe, which nobody writes to", good + "pipe " + abc, ZRError::eNotFound, "/pipe not found"},
      {"more than fits", std::string((16 << 20) + 1, 'x'), ZRError::eTooLong},
      {"too many lines", tooMany, ZRError::eTooMany},
  };
  test::writeFile(outside + "/abc", "abc");
  test::writeFile(delta + "/Contents/a b", "abc");
  test::writeFile(delta + "/empty", "");
  link("Contents/a b", "inner");
  link(outside + "/abc", "way");
  pipe("pipe");
  for (const Case& c : cases) {
    test::writeFile(delta + "/FileCheckSums.txt", c.list);
    const test::LogCapture log;
    const ZRResult result = verify();
    const bool isGood = c.code == ZRError::eNoError;
    EXPECT_CODE(result, c.code) << c.name;
    EXPECT_THAT(result.message().str(), HasSubstr(c.message)) << c.name;
    EXPECT_EQ(test::exists(delta + "/FileCheckSums.txt"), !isGood) << c.name;
    EXPECT_EQ(log.contains("i: ", "Verify checksums success!"), isGood) << c.name << log.text();
  }
}

TEST_F(DeltaUpdatesToolsTest, WantsAListThatIsAFile) {
  EXPECT_CODE(verify(), ZRError::eNotFound);
  EXPECT_FALSE(test::exists(delta + "/FileCheckSums.txt"));
  link(outside + "/kept", "FileCheckSums.txt");
  EXPECT_CODE(verify(), ZRError::eNoAccess);
  fs::remove(delta + "/FileCheckSums.txt");
  pipe("FileCheckSums.txt");
  EXPECT_CODE(verify(), ZRError::eNoAccess);
}

TEST_F(DeltaUpdatesToolsTest, MakesNothingExecutableBehindAMissingFileOrALinkOut) {
  const auto modeOf = [](const std::string& path) { return fs::status(path).permissions(); };
  for (const char* executable : kBundleExecutables)
    test::writeFile(delta + "/" + executable, "");
  const std::string last = delta + "/Contents/MacOS/Vantora";
  const auto before = modeOf(last);
  fs::remove(delta + "/Contents/Helpers/VNTUpload");
  const ZRResult missing = setExeFileAttributes(delta);
  EXPECT_CODE(missing, ZRError::eSomeError);
  EXPECT_THAT(missing.message().str(), HasSubstr("Process exit code = 1"));
  link(outside + "/kept", "Contents/Helpers/VNTUpload");
  EXPECT_CODE(setExeFileAttributes(delta), ZRError::eNoAccess);
  EXPECT_EQ(modeOf(last), before);
  EXPECT_EQ(modeOf(outside + "/kept"), before);
}

TEST_F(DeltaUpdatesToolsTest, KillsACommandAtItsLimit) {
  const std::string file = folder / "process";
  const auto start = std::chrono::steady_clock::now();
  EXPECT_CODE(runCommand("/bin/sh -c \"echo $$ > '" + file + "'; exec sleep 30\"", 500), ZRError::eTimeout);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
  EXPECT_EQ(kill(std::stoi(test::readFile(file)), 0), -1);
  EXPECT_EQ(errno, ESRCH) << "it is gone, and collected";
}

}  // namespace
