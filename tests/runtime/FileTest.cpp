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
#include "tests/support/LogCapture.h"
#include "tests/support/ResultMatchers.h"
#include "tests/support/TemporaryFolder.h"

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::UnorderedElementsAre;

constexpr std::uint32_t kNoError = ZRError::eNoError;
constexpr std::uint32_t kReadWrite = ZRFile::eRead | ZRFile::eWrite;

// What an open does to a file that holds "old" and to one that is missing, and what writing "new" then
// leaves.
struct OpenCase {
  std::uint32_t access;
  std::uint32_t disposition;
  std::uint32_t existingCode;
  const char* existingAfter;
  std::uint32_t missingCode;
  const char* missingAfter;  ///< null: still missing
};

const OpenCase kOpens[] = {
    {ZRFile::eRead, ZRFile::eOpenAlways, kNoError, "old", kNoError, ""},
    {ZRFile::eRead, ZRFile::eCreateNew, ZRError::eExists, "old", kNoError, ""},
    {ZRFile::eRead, ZRFile::eCreateAlways, kNoError, "", kNoError, ""},
    {ZRFile::eRead, ZRFile::eOpenExisting, kNoError, "old", ZRError::eNotFound, nullptr},
    {ZRFile::eWrite, ZRFile::eOpenAlways, kNoError, "oldnew", kNoError, "new"},
    {ZRFile::eWrite, ZRFile::eCreateAlways, kNoError, "new", kNoError, "new"},
    {ZRFile::eWrite, ZRFile::eOpenExisting, kNoError, "oldnew", ZRError::eNotFound, nullptr},
    {kReadWrite, ZRFile::eOpenAlwaysAtStart, kNoError, "oldnew", kNoError, "new"},
    {kReadWrite, ZRFile::eCreateNew, ZRError::eExists, "old", kNoError, "new"},
    {0, ZRFile::eOpenAlways, ZRError::eBadParameter, "old", ZRError::eBadParameter, nullptr},
};

std::uint32_t openAndWrite(const std::string& path, const OpenCase& row) {
  ZRFile file;
  const ZRResult opened = file.open(path, row.access, row.disposition);
  EXPECT_EQ(opened.isSuccess(), file.isOpen());
  if (file.isOpen() && (row.access & ZRFile::eWrite) != 0) {
    EXPECT_CODE(file.write("new", 3), kNoError);
  }
  EXPECT_CODE(file.close(), kNoError);
  return opened.code();
}

TEST(File, AccessAndDisposition) {
  for (std::size_t i = 0; i < std::size(kOpens); ++i) {
    SCOPED_TRACE(i);
    const OpenCase& row = kOpens[i];
    const test::TemporaryFolder folder;
    test::writeFile(folder / "existing", "old");
    EXPECT_EQ(openAndWrite(folder / "existing", row), row.existingCode);
    EXPECT_EQ(test::readFile(folder / "existing"), row.existingAfter);
    EXPECT_EQ(openAndWrite(folder / "missing", row), row.missingCode);
    ASSERT_EQ(test::exists(folder / "missing"), row.missingAfter != nullptr);
    if (row.missingAfter != nullptr) {
      EXPECT_EQ(test::readFile(folder / "missing"), row.missingAfter);
    }
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

TEST(File, ReadsFromAnyPlaceAndTellsTheEnd) {
  const test::TemporaryFolder folder;
  ZRFile file;
  ASSERT_CODE(file.open(folder / "file", kReadWrite, ZRFile::eCreateAlways), kNoError);
  ASSERT_CODE(file.write("0123456789", 10), kNoError);
  std::uint64_t size = 0;
  ASSERT_CODE(file.getSize(size), kNoError);
  EXPECT_EQ(size, 10U) << "pending bytes count";

  ASSERT_CODE(file.seek(-6, ZRFile::eEnd), kNoError);
  ASSERT_CODE(file.seek(1, ZRFile::eCurrent), kNoError);
  std::string buffer(4, '\0');
  std::size_t bytesRead = 0;
  for (const auto& [expected, atEnd] : {std::pair("5678", false), {"9", true}}) {
    bool endOfFile = !atEnd;
    ASSERT_CODE(file.read(buffer.data(), buffer.size(), bytesRead, endOfFile), kNoError);
    EXPECT_EQ(buffer.substr(0, bytesRead), expected);
    EXPECT_EQ(endOfFile, atEnd);
  }
  EXPECT_TRUE(file.seek(-1, ZRFile::eBegin).isFailure());
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

TEST(File, Lines) {
  const test::TemporaryFolder folder;
  const struct {
    std::string text;
    std::vector<std::string> lines;
  } rows[] = {
      {"", {}},
      {"\n", {""}},
      {"one\n", {"one"}},
      {"one\r\n\ntwo words ", {"one\r", "", "two words "}},
      {std::string(10'000, 'x') + "\n\xFF", {std::string(10'000, 'x'), "\xFF"}},
  };
  for (const auto& row : rows) {
    test::writeFile(folder / "file", row.text);
    ZRFile file;
    ASSERT_CODE(file.open(folder / "file", ZRFile::eRead, ZRFile::eOpenExisting), kNoError);
    std::vector<std::string> lines;
    ZRString line;
    ZRResult result = file.readLine(line);
    for (; result.isSuccess(); result = file.readLine(line))
      lines.push_back(line.str());
    EXPECT_EQ(lines, row.lines);
    EXPECT_CODE(result, ZRError::eEnd);
  }
}

TEST(File, RemoveAndRename) {
  const test::TemporaryFolder folder;
  test::writeFile(folder / "a", "a");
  test::writeFile(folder / "b", "b");
  EXPECT_CODE(ZRFile::rename(folder / "a", folder / "b"), kNoError);
  EXPECT_EQ(test::readFile(folder / "b"), "a");
  EXPECT_CODE(ZRFile::exists(folder / "a"), ZRStatus::eNo);
  EXPECT_CODE(ZRFile::remove(folder / "b"), kNoError);
  EXPECT_CODE(ZRFile::remove(folder / "b"), ZRError::eNotFound);
}

TEST(FileFind, PatternsBecomeExpressions) {
  const struct {
    const char* pattern;
    const char* expression;
    bool holdsDot;
  } rows[] = {
      {"**", "^.*$", false},      {"*.txt", R"(^.*\.txt$)", true}, {"abc", R"(^abc\.$)", false},
      {"abc*", "^abc.*$", false}, {"a?c.d", R"(^a.?c\.d$)", true}, {"a??.d", R"(^a..\.d$)", true},
      {"a*?", "^a.*$", false},    {"a?*b.", R"(^a.*b\.$)", true},  {"?", R"(^.?\.$)", false},
  };
  for (const auto& row : rows) {
    bool holdsDot = !row.holdsDot;
    EXPECT_EQ(ZRFileFind::regularExpression(row.pattern, holdsDot), row.expression) << row.pattern;
    EXPECT_EQ(holdsDot, row.holdsDot) << row.pattern;
  }
}

std::vector<std::string> find(const std::string& folder, const char* pattern) {
  std::vector<std::string> names;
  ZRFileFind listing;
  ZRString name;
  ZRResult result = listing.getFirst(folder, pattern, name);
  for (; result.isSuccess(); result = listing.getNext(name))
    names.push_back(name.str());
  return names;
}

TEST(FileFind, ListsWhatMatches) {
  const test::TemporaryFolder folder;
  for (const char* name : {"a.txt", "B.TXT", "noext", ".hidden", "two\nlines", "\xFF\xFE"})
    test::writeFile(folder / name, "");
  EXPECT_THAT(find(folder.path(), "*"), UnorderedElementsAre(".", "..", ".hidden", "B.TXT", "a.txt", "noext",
                                                             "two\nlines", "\xFF\xFE"));
  EXPECT_THAT(find(folder.path(), "*.txt"), UnorderedElementsAre("a.txt"));
  EXPECT_THAT(find(folder.path(), "?.*"), UnorderedElementsAre("..", "B.TXT", "a.txt"));
  EXPECT_THAT(find(folder.path(), "no?x?"), UnorderedElementsAre("noext"));

  ZRFileFind listing;
  ZRString name;
  EXPECT_CODE(listing.getNext(name), ZRError::ePreconditionFailed);
  EXPECT_CODE(listing.getFirst(folder.path(), "", name), ZRError::ePreconditionFailed);
  EXPECT_CODE(listing.getFirst(folder.path(), "*.zip", name), ZRError::eNotFound);
  EXPECT_THAT(listing.getFirst(folder / "none", "*", name).message().str(),
              HasSubstr("Method \"opendir()\""));
  EXPECT_THAT(listing.getFirst(folder.path(), "(*", name).message().str(), HasSubstr("Method \"regcomp()\""));
}

TEST(Directory, RemovesTreesAndNeverFollowsLinks) {
  const test::TemporaryFolder folder;
  test::writeFile(folder / "target/kept", "x");
  EXPECT_CODE(ZRDirectory::create(folder / "tree"), kNoError);
  EXPECT_CODE(ZRDirectory::create(folder / "tree"), ZRError::eExists);
  test::writeFile(folder / "tree/sub/.hidden/file", "x");
  fs::create_directory_symlink(folder / "target", folder / "tree/sub/link");
  fs::create_symlink("nowhere", folder / "tree/dangling");
  ASSERT_EQ(mkfifo((folder / "tree/pipe").c_str(), 0600), 0);
  EXPECT_CODE(ZRDirectory::remove(folder / "tree/"), kNoError);
  EXPECT_CODE(ZRDirectory::exists(folder / "tree"), ZRStatus::eNo);

  fs::create_directory_symlink(folder / "target", folder / "link");
  EXPECT_TRUE(ZRDirectory::remove(folder / "link/").isFailure());
  EXPECT_EQ(test::readFile(folder / "target/kept"), "x");
  EXPECT_CODE(ZRDirectory::remove(""), ZRError::ePreconditionFailed);
}

TEST(FileSpec, Splits) {
  const ZRFileSpec spec{ZRString("/a.d/b.tar.gz")};
  EXPECT_EQ(spec.folder(), "/a.d/");
  EXPECT_EQ(spec.baseName(), "b.tar");
  EXPECT_EQ(ZRFileSpec("/a", "b").path(), "/a/b");
}

}  // namespace
