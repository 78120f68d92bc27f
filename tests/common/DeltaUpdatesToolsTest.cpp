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
#include "runtime/Applications/ZRProcessManager.h"
#include "runtime/Threads/ZRDynamicThreadPool.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ResultMatchers.h"
#include "tests/support/TemporaryFolder.h"
#include "tools/packager/Digest.h"
#include "tools/packager/Program.h"

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
    test::makeFolder(source());
    test::makeFolder(delta());
    test::writeFile(outside() + "/kept", "kept");
  }

  [[nodiscard]] std::string source() const { return _folder / "Vantora (1).app"; }
  [[nodiscard]] std::string delta() const { return _folder / "temporary files/1_2"; }
  [[nodiscard]] std::string outside() const { return _folder / "outside"; }
  [[nodiscard]] std::string inDelta(const std::string& path) const { return delta() + "/" + path; }

  /// Puts the old file into the bundle and the patch that makes it new into the package.
  void addPatch(const std::string& path, const std::string& before, const std::string& after) {
    test::writeFile(source() + "/" + path, before);
    makePatch(before, after, inDelta(path) + ".bsdiff");
  }
  void makePatch(const std::string& before, const std::string& after, const std::string& patch) {
    test::writeFile(_folder / "before", before);
    test::writeFile(_folder / "after", after);
    test::makeFolder(fs::path(patch).parent_path().string());
    packager::runProgram("/usr/bin/bsdiff", {_folder / "before", _folder / "after", patch});
  }
  void link(const std::string& target, const std::string& path) {
    test::makeFolder(fs::path(inDelta(path)).parent_path().string());
    fs::create_symlink(target, inDelta(path));
  }
  void listDigest(const std::string& path, const std::string& bytes) {
    test::writeFile(inDelta(path), bytes);
    _list += path + " " + packager::md5OfFile(inDelta(path)) + "\n";
  }
  void writeList(const std::string& text) { test::writeFile(inDelta("FileCheckSums.txt"), text); }

  ZRResult patch() { return applyPatch(delta(), source(), &_pool); }
  ZRResult verify() { return verifyCheckSums(ZRString(delta()), &_pool); }

  void expectOutsideUntouched(const char* name) {
    std::size_t entries = 0;
    for ([[maybe_unused]] const auto& entry : fs::recursive_directory_iterator(outside()))
      ++entries;
    EXPECT_EQ(entries, _entriesOutside) << name;
    EXPECT_EQ(test::readFile(outside() + "/kept"), "kept") << name;
  }

  test::TemporaryFolder _folder;
  std::string _list;
  std::size_t _entriesOutside = 1;
  ZRDynamicThreadPool _pool{"Patching", 3, 3, 30};
};

TEST_F(DeltaUpdatesToolsTest, AppliesEveryPatchAndDeletesIt) {
  const std::string big(100000, 'x');
  addPatch("Contents/Info.plist", "one", "two");
  addPatch("Contents/Resources/\xC3\xA4 file with blanks", big, big + "!");
  addPatch("Contents/Frameworks/F.framework/Versions/A/F", "old", "new");
  link("A", "Contents/Frameworks/F.framework/Versions/Current");
  link("Versions/Current/F", "Contents/Frameworks/F.framework/F");
  link("/no/such/place", "Contents/dangling");
  test::writeFile(inDelta("Contents/whole"), "whole");
  test::makeFolder(inDelta("Contents/empty"));

  ASSERT_CODE(patch(), ZRError::eNoError);
  EXPECT_EQ(test::readFile(inDelta("Contents/Info.plist")), "two");
  EXPECT_EQ(test::readFile(inDelta("Contents/Resources/\xC3\xA4 file with blanks")), big + "!");
  EXPECT_EQ(test::readFile(inDelta("Contents/Frameworks/F.framework/F")), "new");
  EXPECT_EQ(test::readFile(inDelta("Contents/whole")), "whole");
  EXPECT_EQ(test::readFile(source() + "/Contents/Info.plist"), "one");
  for (const auto& entry : fs::recursive_directory_iterator(delta()))
    EXPECT_NE(entry.path().extension(), ".bsdiff") << entry.path();
}

TEST_F(DeltaUpdatesToolsTest, RefusesWhatCannotBePatchedOrLeadsOutside) {
  struct Case {
    const char* name;
    std::uint32_t code;
    const char* message;
    std::function<void()> prepare;
  };
  const auto outsidePatch = [this](const std::string& name) {
    makePatch("kept", "changed", outside() + "/" + name);
    _entriesOutside = 2;
  };
  const Case cases[] = {
      {"no base file", ZRError::eSomeError, "Process exit code = 1",
       [&] { makePatch("a", "b", inDelta("Contents/x.bsdiff")); }},
      {"corrupt patch", ZRError::eSomeError, "Process exit code = 1",
       [&] {
         addPatch("x", "a", "b");
         test::writeFile(inDelta("x.bsdiff"), "BSDIFF40 and nothing of a patch");
       }},
      {"double quote in a file's name", ZRError::eBadParameter, "double quote",
       [&] { addPatch("a\" \"b", "a", "b"); }},
      {"a link to nothing yet where the new file goes", ZRError::eNoAccess, "in the way",
       [&] {
         addPatch("x", "kept", "changed");
         link("../../outside/made", "x");
       }},
      {"a second name of a file outside where the new file goes", ZRError::eNoAccess, "",
       [&] {
         addPatch("x", "kept", "changed");
         fs::create_hard_link(outside() + "/kept", inDelta("x"));
       }},
      {"a pipe where the new file goes", ZRError::eNoAccess, "in the way",
       [&] {
         addPatch("x", "a", "b");
         ASSERT_EQ(mkfifo(inDelta("x").c_str(), 0600), 0);
       }},
      {"a patch that is a link", ZRError::eNoAccess, "is not a file",
       [&] {
         test::writeFile(source() + "/x", "kept");
         outsidePatch("patch");
         link(outside() + "/patch", "x.bsdiff");
       }},
      {"a link to a folder outside that holds a patch", ZRError::eNoAccess, "leads out of",
       [&] {
         outsidePatch("kept.bsdiff");
         test::writeFile(source() + "/Contents/kept", "kept");
         link("../../outside", "Contents");
       }},
      {"a tree that is a link itself", ZRError::eNoAccess, "is a link",
       [&] {
         outsidePatch("kept.bsdiff");
         test::writeFile(source() + "/kept", "kept");
         fs::remove(delta());
         fs::create_symlink(outside(), delta());
       }},
      {"no tree", ZRError::eNotFound, "realpath()", [&] { fs::remove(delta()); }},
  };
  for (const Case& c : cases) {
    for (const std::string& folder : {source(), delta(), outside()})
      fs::remove_all(folder);
    test::makeFolder(source());
    test::makeFolder(delta());
    test::writeFile(outside() + "/kept", "kept");
    _entriesOutside = 1;

    c.prepare();
    const ZRResult result = patch();
    EXPECT_CODE(result, c.code) << c.name;
    EXPECT_THAT(result.message().str(), HasSubstr(c.message)) << c.name;
    expectOutsideUntouched(c.name);
  }
}

TEST_F(DeltaUpdatesToolsTest, VerifiesTheListedFiles) {
  struct Case {
    const char* name;
    std::function<void(std::string& list)> change;
    std::uint32_t code;
    const char* message = "";
  };
  const std::string digest = "900150983cd24fb0d6963f7d28e17f72";  // of "abc"
  const Case cases[] = {
      {"as made", [](std::string&) {}, ZRError::eNoError},
      {"a link inside",
       [&](std::string& list) {
         link("Contents/a b", "inner");
         list += "inner " + digest + "\n";
       },
       ZRError::eNoError},
      {"a line without a blank", [](std::string& list) { list.insert(0, "x\n"); }, ZRError::eUnexpected},
      {"carriage returns",
       [](std::string& list) {
         for (std::size_t at = 0; (at = list.find('\n', at)) != std::string::npos; at += 2)
           list.insert(at, "\r");
       },
       ZRError::eUnexpected},
      {"upper case", [](std::string& list) { list.replace(list.find("900150983c"), 10, "900150983C"); },
       ZRError::eUnexpected},
      {"another file's bytes", [&](std::string&) { test::writeFile(inDelta("other"), "changed"); },
       ZRError::eUnexpected},
      {"a missing file, then a wrong one",
       [&](std::string& list) { list.insert(0, "gone " + digest + "\nother " + digest + "\n"); },
       ZRError::eNotFound, "/gone not found"},
      {"a path that climbs out", [&](std::string& list) { list += "../../outside/abc " + digest; },
       ZRError::eNotFound, "../../outside/abc not found"},
      {"a link out",
       [&](std::string& list) {
         link(outside() + "/abc", "way");
         list += "way " + digest;
       },
       ZRError::eNotFound, "/way not found"},
      {"a pipe, which nobody writes to",
       [&](std::string& list) {
         ASSERT_EQ(mkfifo(inDelta("pipe").c_str(), 0600), 0);
         list += "pipe " + digest;
       },
       ZRError::eNotFound, "/pipe not found"},
      {"more than fits", [](std::string& list) { list.append(16 << 20, 'x'); }, ZRError::eTooLong},
      {"too many lines",
       [](std::string& list) {
         for (int line = 0; line < 100'000; ++line)
           list += "x y\n";
       },
       ZRError::eTooMany},
  };
  test::writeFile(outside() + "/abc", "abc");
  for (const Case& c : cases) {
    fs::remove_all(delta());
    _list.clear();
    listDigest("Contents/a b", "abc");
    listDigest("other", "");
    c.change(_list);
    writeList(_list);
    test::LogCapture log;
    const ZRResult result = verify();
    EXPECT_CODE(result, c.code) << c.name;
    EXPECT_THAT(result.message().str(), HasSubstr(c.message)) << c.name;
    EXPECT_EQ(test::exists(inDelta("FileCheckSums.txt")), c.code != ZRError::eNoError) << c.name;
    EXPECT_EQ(log.contains(
                  "i: {ZRResult verifyCheckSums(ZRString, ZRDynamicThreadPool *)} Verify checksums success!"),
              c.code == ZRError::eNoError)
        << c.name << log.text();
  }
}

TEST_F(DeltaUpdatesToolsTest, WantsAListThatIsAFile) {
  EXPECT_CODE(verify(), ZRError::eNotFound);
  EXPECT_FALSE(test::exists(inDelta("FileCheckSums.txt")));
  test::writeFile(outside() + "/list", "");
  link(outside() + "/list", "FileCheckSums.txt");
  EXPECT_CODE(verify(), ZRError::eNoAccess);
  fs::remove(inDelta("FileCheckSums.txt"));
  ASSERT_EQ(mkfifo(inDelta("FileCheckSums.txt").c_str(), 0600), 0);
  EXPECT_CODE(verify(), ZRError::eNoAccess);
}

TEST_F(DeltaUpdatesToolsTest, MakesTheKnownExecutablesExecutable) {
  const auto modeOf = [](const std::string& path) {
    return static_cast<unsigned>(fs::status(path).permissions());
  };
  for (const char* executable : kBundleExecutables) {
    test::writeFile(inDelta(executable), "");
    fs::permissions(inDelta(executable), fs::perms{0640});
  }
  EXPECT_CODE(setExeFileAttributes(ZRString(delta())), ZRError::eNoError);
  for (const char* executable : kBundleExecutables)
    EXPECT_EQ(modeOf(inDelta(executable)), 0751u) << executable;

  fs::permissions(inDelta("Contents/MacOS/Vantora"), fs::perms{0640});
  fs::remove(inDelta("Contents/Helpers/VNTUpload"));
  const ZRResult missing = setExeFileAttributes(ZRString(delta()));
  EXPECT_CODE(missing, ZRError::eSomeError);
  EXPECT_THAT(missing.message().str(), HasSubstr("Process exit code = 1"));
  EXPECT_EQ(modeOf(inDelta("Contents/MacOS/Vantora")), 0640u) << "what comes after the failure is not done";

  fs::permissions(outside() + "/kept", fs::perms{0640});
  link(outside() + "/kept", "Contents/Helpers/VNTUpload");
  EXPECT_CODE(setExeFileAttributes(ZRString(delta())), ZRError::eNoAccess);
  EXPECT_EQ(modeOf(outside() + "/kept"), 0640u);
  EXPECT_CODE(setExeFileAttributes(ZRString(delta() + "\" /bin/sh \"")), ZRError::eNotFound);
}

TEST_F(DeltaUpdatesToolsTest, KillsACommandAtItsLimit) {
  const std::string file = _folder / "process";
  const auto start = std::chrono::steady_clock::now();
  const std::string command = "/bin/sh -c \"echo $$ > '" + file + "'; exec sleep 30\"";
  EXPECT_CODE(runCommand(ZRString(command), 500), ZRError::eTimeout);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
  EXPECT_EQ(kill(std::stoi(test::readFile(file)), 0), -1);
  EXPECT_EQ(errno, ESRCH) << "it is gone, and collected";
}

}  // namespace
