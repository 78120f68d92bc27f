#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <vector>

#include "runtime/File/ZRDirectory.h"
#include "runtime/File/ZRFile.h"
#include "runtime/File/ZRFileFind.h"
#include "runtime/File/ZRFileSpec.h"
#include "tests/support/FileSizeLimit.h"
#include "tests/support/ResultMatchers.h"
#include "tests/support/TemporaryFolder.h"

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::UnorderedElementsAreArray;

constexpr std::uint32_t kNoError = ZRError::eNoError;
constexpr std::uint32_t kReadWrite = ZRFile::eRead | ZRFile::eWrite;

TEST(File, AccessAndDispositionDecideWhatBecomesOfTheFile) {
  const struct {
    std::uint32_t access;
    std::uint32_t disposition;
    bool exists;  ///< with "old" in it
    std::uint32_t code;
    const char* after;  ///< with "new" written where that is allowed
  } rows[] = {
      {ZRFile::eRead, ZRFile::eOpenExisting, false, ZRError::eNotFound, "no file"},
      {ZRFile::eRead, ZRFile::eOpenAlways, false, kNoError, ""},
      {ZRFile::eRead, ZRFile::eCreateAlways, true, kNoError, ""},
      {ZRFile::eWrite, ZRFile::eOpenAlways, true, kNoError, "oldnew"},
      {ZRFile::eWrite, ZRFile::eCreateAlways, true, kNoError, "new"},
      {kReadWrite, ZRFile::eOpenAlwaysAtStart, true, kNoError, "oldnew"},
      {kReadWrite, ZRFile::eCreateNew, true, ZRError::eExists, "old"},
      {0, ZRFile::eOpenAlways, false, ZRError::eBadParameter, "no file"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << row.access << " " << row.disposition);
    const test::TemporaryFolder folder;
    if (row.exists) test::writeFile(folder / "file", "old");
    ZRFile file;
    EXPECT_CODE(file.open(folder / "file", row.access, row.disposition), row.code);
    if (file.isOpen() && (row.access & ZRFile::eWrite) != 0) {
      EXPECT_CODE(file.write("new", 3), kNoError);
    }
    EXPECT_CODE(file.close(), kNoError);
    EXPECT_EQ(test::exists(folder / "file") ? test::readFile(folder / "file") : "no file", row.after);
  }
}

TEST(File, OnlyARegularFileIsOpened) {
  const test::TemporaryFolder folder;
  ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
  fs::create_symlink("/dev/zero", folder / "device");
  for (const std::string& path : {folder / "pipe", folder / "device", folder.path()}) {
    for (const std::uint32_t access : {1U, 2U, 3U}) {
      ZRFile file;
      const ZRResult opened = file.open(path, access, ZRFile::eOpenExisting);
      EXPECT_CODE(opened, ZRError::eIOError) << path << " " << access;
    }
  }
  test::writeFile(folder / "file", "old");
  fs::create_symlink("file", folder / "link");
  ZRFile file;
  EXPECT_CODE(file.open(folder / "link", ZRFile::eRead, ZRFile::eOpenExisting), kNoError);
}

TEST(File, FailedWritesAreToldAtTheLatestByClose) {
  const test::TemporaryFolder folder;
  const test::FileSizeLimit limit(1);
  ZRFile file;
  ASSERT_CODE(file.open(folder / "file", ZRFile::eWrite, ZRFile::eOpenAlways), kNoError);
  EXPECT_CODE(file.write("xy", 2), kNoError);
  EXPECT_TRUE(file.flush().isFailure());
  EXPECT_CODE(file.write("z", 1), kNoError);
  EXPECT_THAT(file.close().message().str(), HasSubstr("Method \"fclose()\" returned CRT error [27]. "));
}

TEST(File, LinesEndAtALineFeedOrWithTheFile) {
  const test::TemporaryFolder folder;
  const std::string longLine(10'000, 'x');
  test::writeFile(folder / "file", "one\r\n\ntwo words \n" + longLine + "\n\xFF");
  ZRFile file;
  ASSERT_CODE(file.open(folder / "file", ZRFile::eRead, ZRFile::eOpenExisting), kNoError);
  ZRString line;
  for (const std::string& expected :
       {std::string("one\r"), std::string(), std::string("two words "), longLine, std::string("\xFF")}) {
    EXPECT_CODE(file.readLine(line), kNoError);
    EXPECT_EQ(line.str(), expected);
  }
  EXPECT_CODE(file.readLine(line), ZRError::eEnd);
}

TEST(File, RemoveAndRename) {
  const test::TemporaryFolder folder;
  test::writeFile(folder / "a", "a");
  test::writeFile(folder / "b", "b");
  EXPECT_CODE(ZRFile::rename(folder / "a", folder / "b"), kNoError);
  EXPECT_EQ(test::readFile(folder / "b"), "a");
  EXPECT_CODE(ZRFile::remove(folder / "b"), kNoError);
  EXPECT_CODE(ZRFile::remove(folder / "b"), ZRError::eNotFound);
}

TEST(FileFind, ListsEveryNameThatMatches) {
  const struct {
    const char* pattern;
    std::vector<std::string> names;
  } rows[] = {
      {"*", {".", "..", ".hidden", "a.txt", "noext", "two\nlines", "\xFF\xFE"}},
      {"*.txt", {"a.txt"}},
      {"?.*", {"..", "a.txt"}},
      {"no?x?", {"noext"}},
      {"a?*.??t", {"a.txt"}},
  };
  const test::TemporaryFolder folder;
  for (const char* name : {"a.txt", "noext", ".hidden", "two\nlines", "\xFF\xFE"})
    test::writeFile(folder / name, "");
  for (const auto& row : rows) {
    std::vector<std::string> names;
    ZRFileFind listing;
    ZRString name;
    ZRResult result = listing.getFirst(folder.path(), row.pattern, name);
    for (; result.isSuccess(); result = listing.getNext(name))
      names.push_back(name.str());
    EXPECT_THAT(names, UnorderedElementsAreArray(row.names)) << row.pattern;
  }
}

TEST(Directory, RemovesTreesAndNeverFollowsLinks) {
  const test::TemporaryFolder folder;
  test::writeFile(folder / "target/kept", "x");
  EXPECT_CODE(ZRDirectory::create(folder / "tree"), kNoError);
  test::writeFile(folder / "tree/sub/.hidden/file", "x");
  fs::create_directory_symlink(folder / "target", folder / "tree/sub/link");
  ASSERT_EQ(mkfifo((folder / "tree/pipe").c_str(), 0600), 0);
  EXPECT_CODE(ZRDirectory::remove(folder / "tree/"), kNoError);
  EXPECT_CODE(ZRDirectory::exists(folder / "tree"), ZRStatus::eNo);

  fs::create_directory_symlink(folder / "target", folder / "link");
  EXPECT_TRUE(ZRDirectory::remove(folder / "link/").isFailure());
  EXPECT_EQ(test::readFile(folder / "target/kept"), "x");
}

TEST(FileSpec, Splits) {
  const ZRFileSpec spec{ZRString("/a.d/b.tar.gz")};
  EXPECT_EQ(spec.folder(), "/a.d/");
  EXPECT_EQ(spec.baseName(), "b.tar");
  EXPECT_EQ(ZRFileSpec("/a", "b").path(), "/a/b");
}

}  // namespace
