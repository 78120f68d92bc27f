#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
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
using testing::ElementsAre;
using testing::HasSubstr;

constexpr std::uint32_t kNoError = ZRError::eNoError;

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

constexpr std::uint32_t kReadWrite = ZRFile::eRead | ZRFile::eWrite;

const OpenCase kOpens[] = {
    {ZRFile::eRead, ZRFile::eOpenAlways, kNoError, "old", kNoError, ""},
    {ZRFile::eRead, ZRFile::eCreateNew, ZRError::eExists, "old", kNoError, ""},
    {ZRFile::eRead, ZRFile::eCreateAlways, kNoError, "", kNoError, ""},
    {ZRFile::eRead, ZRFile::eOpenExisting, kNoError, "old", ZRError::eNotFound, nullptr},
    {ZRFile::eRead, ZRFile::eOpenAlwaysAtStart, kNoError, "old", kNoError, ""},
    {ZRFile::eWrite, ZRFile::eOpenAlways, kNoError, "oldnew", kNoError, "new"},
    {ZRFile::eWrite, ZRFile::eCreateNew, ZRError::eExists, "old", kNoError, "new"},
    {ZRFile::eWrite, ZRFile::eCreateAlways, kNoError, "new", kNoError, "new"},
    {ZRFile::eWrite, ZRFile::eOpenExisting, kNoError, "oldnew", ZRError::eNotFound, nullptr},
    {kReadWrite, ZRFile::eOpenAlwaysAtStart, kNoError, "oldnew", kNoError, "new"},
    {kReadWrite, ZRFile::eCreateNew, ZRError::eExists, "old", kNoError, "new"},
    {kReadWrite, ZRFile::eCreateAlways, kNoError, "new", kNoError, "new"},
    {0, ZRFile::eOpenAlways, ZRError::eBadParameter, "old", ZRError::eBadParameter, nullptr},
    {0, ZRFile::eCreateNew, ZRError::eExists, "old", ZRError::eBadParameter, nullptr},
};

std::uint32_t openAndWrite(const ZRString& path, const OpenCase& row) {
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
  const test::TemporaryFolder folder;
  for (std::size_t i = 0; i < std::size(kOpens); ++i) {
    const OpenCase& row = kOpens[i];
    const std::string existing = folder / ("existing" + std::to_string(i));
    const std::string missing = folder / ("missing" + std::to_string(i));
    test::writeFile(existing, "old");
    EXPECT_EQ(openAndWrite(existing, row), row.existingCode) << i;
    EXPECT_EQ(test::readFile(existing), row.existingAfter) << i;
    EXPECT_EQ(openAndWrite(missing, row), row.missingCode) << i;
    ASSERT_EQ(test::exists(missing), row.missingAfter != nullptr) << i;
    if (row.missingAfter != nullptr) {
      EXPECT_EQ(test::readFile(missing), row.missingAfter) << i;
    }
  }
}

TEST(File, MessagesOfFailedOpens) {
  const test::TemporaryFolder folder;
  test::writeFile(folder / "there", "");
  ZRFile file;
  EXPECT_CODE(file.open("", ZRFile::eRead, ZRFile::eOpenAlways), ZRError::ePreconditionFailed);
  EXPECT_THAT(file.open(folder / "there", ZRFile::eRead, ZRFile::eCreateNew).message().str(),
              HasSubstr("ZRFile::open() - file already exists."));
  const ZRResult noFolder = file.open(folder / "none/file", ZRFile::eWrite, ZRFile::eOpenAlways);
  EXPECT_CODE(noFolder, ZRError::eIOError);
  EXPECT_THAT(noFolder.message().str(), HasSubstr("Method \"fopen()\" returned CRT error [5]. "));
  EXPECT_CODE(file.open(folder / "there", ZRFile::eRead, ZRFile::eOpenAlways, ZRFile::kFlag), kNoError);
  EXPECT_TRUE(file.hasFlag());
  EXPECT_CODE(file.open(folder / "there", ZRFile::eRead, ZRFile::eOpenAlways), ZRError::ePreconditionFailed);
}

TEST(File, ReadsSeeksAndMeasures) {
  const test::TemporaryFolder folder;
  ZRFile file;
  ASSERT_CODE(file.open(folder / "file", kReadWrite, ZRFile::eCreateAlways), kNoError);
  ASSERT_CODE(file.write("0123456789", 10), kNoError);
  std::uint64_t size = 0;
  ASSERT_CODE(file.getSize(size), kNoError);
  EXPECT_EQ(size, 10U);

  std::string buffer(6, '\0');
  std::size_t bytesRead = 0;
  bool endOfFile = false;
  ASSERT_CODE(file.seek(-6, ZRFile::eEnd), kNoError);
  ASSERT_CODE(file.seek(1, ZRFile::eCurrent), kNoError);
  ASSERT_CODE(file.read(buffer.data(), 4, bytesRead, endOfFile), kNoError);
  EXPECT_EQ(buffer.substr(0, bytesRead), "5678");
  EXPECT_FALSE(endOfFile);
  ASSERT_CODE(file.read(buffer.data(), 4, bytesRead, endOfFile), kNoError);
  EXPECT_EQ(bytesRead, 1U);
  EXPECT_TRUE(endOfFile);
  EXPECT_THAT(file.seek(-1, ZRFile::eBegin).message().str(), HasSubstr("Method \"fseek()\""));
  ASSERT_CODE(file.close(), kNoError);
  EXPECT_CODE(file.read(buffer.data(), 4, bytesRead, endOfFile), ZRError::ePreconditionFailed);
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
  EXPECT_FALSE(file.isOpen());
}

TEST(File, OnlyARegularFileIsOpened) {
  const test::TemporaryFolder folder;
  ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
  fs::create_symlink("/dev/zero", folder / "device");
  for (const std::string& path : {folder / "pipe", folder / "device", folder.path()}) {
    for (const std::uint32_t access :
         {std::uint32_t{ZRFile::eRead}, std::uint32_t{ZRFile::eWrite}, kReadWrite}) {
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

TEST(File, Lines) {
  const test::TemporaryFolder folder;
  const struct {
    std::string text;
    std::vector<std::string> lines;
  } rows[] = {
      {"", {}},
      {"\n", {""}},
      {"one", {"one"}},
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
    EXPECT_EQ(result.message(), "ZRFile::readLine() - End of file reached");
  }
}

TEST(File, RemoveAndRename) {
  const test::TemporaryFolder folder;
  test::writeFile(folder / "a", "a");
  test::writeFile(folder / "b", "b");
  EXPECT_CODE(ZRFile::rename(folder / "a", folder / "b"), kNoError);
  EXPECT_EQ(test::readFile(folder / "b"), "a");
  EXPECT_CODE(ZRFile::exists(folder / "a"), ZRStatus::eNo);
  EXPECT_CODE(ZRFile::exists(folder / "b"), ZRStatus::eYes);
  EXPECT_THAT(ZRFile::rename(folder / "a", folder / "c").message().str(), HasSubstr("Method \"rename()\""));
  EXPECT_CODE(ZRFile::remove(folder / "b"), kNoError);
  const ZRResult gone = ZRFile::remove(folder / "b");
  EXPECT_CODE(gone, ZRError::eNotFound);
  EXPECT_THAT(gone.message().str(), HasSubstr("Method \"unlink()\" returned CRT error [2]. "));
}

struct PatternCase {
  const char* pattern;
  const char* expression;
  bool holdsDot;
};

const PatternCase kPatterns[] = {
    {"*", "^.*$", false},
    {"**", "^.*$", false},
    {"*.txt", R"(^.*\.txt$)", true},
    {"*.*", R"(^.*\..*$)", true},
    {"abc", R"(^abc\.$)", false},
    {"abc*", "^abc.*$", false},
    {"a?c.d", R"(^a.?c\.d$)", true},
    {"a?.d", R"(^a.\.d$)", true},
    {"a??.d", R"(^a..\.d$)", true},
    {"a??", R"(^a.?.?\.$)", false},
    {"a*?", "^a.*$", false},
    {"a?*b.", R"(^a.*b\.$)", true},
    {"a..b", R"(^a\.\.b$)", true},
    {"?", R"(^.?\.$)", false},
    {"(a|b)*", "^(a|b).*$", false},
};

TEST(FileFind, PatternsBecomeExpressions) {
  for (const PatternCase& row : kPatterns) {
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
  std::sort(names.begin(), names.end());
  return names;
}

TEST(FileFind, ListsWhatMatches) {
  const test::TemporaryFolder folder;
  for (const char* name : {"a.txt", "B.TXT", "noext", ".hidden", "with blank.txt", "two\nlines", "\xFF\xFE"})
    test::writeFile(folder / name, "");
  EXPECT_THAT(find(folder.path(), "*"), ElementsAre(".", "..", ".hidden", "B.TXT", "a.txt", "noext",
                                                    "two\nlines", "with blank.txt", "\xFF\xFE"));
  EXPECT_THAT(find(folder.path(), "*.txt"), ElementsAre("a.txt", "with blank.txt"));
  EXPECT_THAT(find(folder.path(), "?.*"), ElementsAre("..", "B.TXT", "a.txt"));
  EXPECT_THAT(find(folder.path(), "noext"), ElementsAre("noext"));
  EXPECT_THAT(find(folder.path(), "no?x?"), ElementsAre("noext"));
  EXPECT_THAT(find(folder.path(), "a"), ElementsAre());

  ZRFileFind listing;
  ZRString name;
  EXPECT_CODE(listing.getNext(name), ZRError::ePreconditionFailed);
  EXPECT_CODE(listing.getFirst("", "*", name), ZRError::ePreconditionFailed);
  EXPECT_CODE(listing.getFirst(folder.path(), "", name), ZRError::ePreconditionFailed);
  const ZRResult none = listing.getFirst(folder.path(), "*.zip", name);
  EXPECT_CODE(none, ZRError::eNotFound);
  EXPECT_EQ(none.message(), "ZRFileFind::getFirst() - No files found matching the specified pattern");
  EXPECT_THAT(listing.getFirst(folder / "none", "*", name).message().str(),
              HasSubstr("Method \"opendir()\""));
  EXPECT_THAT(listing.getFirst(folder.path(), "(*", name).message().str(), HasSubstr("Method \"regcomp()\""));
}

TEST(Directory, RemovesTreesAndNeverFollowsLinks) {
  const test::TemporaryFolder folder;
  test::writeFile(folder / "target/kept", "x");
  test::writeFile(folder / "tree/sub/.hidden/file", "x");
  test::writeFile(folder / "tree/locked name", "x");
  fs::create_directory_symlink(folder / "target", folder / "tree/sub/link");
  fs::create_symlink("nowhere", folder / "tree/dangling");
  ASSERT_EQ(mkfifo((folder / "tree/pipe").c_str(), 0600), 0);
  EXPECT_CODE(ZRDirectory::remove(folder / "tree/"), kNoError);
  EXPECT_FALSE(test::exists(folder / "tree"));
  EXPECT_EQ(test::readFile(folder / "target/kept"), "x");

  const test::LogCapture log;
  fs::create_directory_symlink(folder / "target", folder / "link");
  const ZRResult refused = ZRDirectory::remove(folder / "link/");
  EXPECT_THAT(refused.message().str(), HasSubstr("Method \"rmdir()\""));
  EXPECT_EQ(test::readFile(folder / "target/kept"), "x");
  EXPECT_CODE(ZRDirectory::remove(""), ZRError::ePreconditionFailed);
  EXPECT_CODE(ZRDirectory::remove(folder / "none"), ZRError::eNotFound);
  EXPECT_TRUE(log.contains("E: ", "ZRDirectory::remove(" + folder / "none" + ") error 2 (No such file"))
      << log.text();
}

TEST(Directory, CreatesExistsAndCurrent) {
  const test::TemporaryFolder folder;
  EXPECT_CODE(ZRDirectory::create(folder / "new"), kNoError);
  EXPECT_CODE(ZRDirectory::exists(folder / "new"), ZRStatus::eYes);
  test::writeFile(folder / "file", "");
  EXPECT_CODE(ZRDirectory::exists(folder / "file"), ZRStatus::eNo);
  EXPECT_CODE(ZRDirectory::create(""), ZRError::ePreconditionFailed);
  const ZRResult exists = ZRDirectory::create(folder / "new");
  EXPECT_CODE(exists, ZRError::eExists);
  EXPECT_THAT(exists.message().str(), HasSubstr("Method \"mkdir()\" returned CRT error [17]. "));
  EXPECT_THAT(exists.message().str(), HasSubstr("Error occurred at create, zrdirectory.cpp:"));
  EXPECT_THAT(exists.message().str(), HasSubstr("Failed to create directory \"" + folder / "new" + "\""));
  ZRString current;
  EXPECT_CODE(ZRDirectory::getCurrent(current), kNoError);
  EXPECT_EQ(current.str(), fs::current_path().string());
}

TEST(FileSpec, Splits) {
  const ZRFileSpec spec{ZRString("/a.d/b.tar.gz")};
  EXPECT_EQ(spec.folder(), "/a.d/");
  EXPECT_EQ(spec.baseName(), "b.tar");
  EXPECT_EQ(spec.extension(), "gz");
  EXPECT_EQ(ZRFileSpec(ZRString("/.profile")).extension(), "");
  EXPECT_EQ(ZRFileSpec("/a", "b").path(), "/a/b");
  EXPECT_EQ(ZRFileSpec("", "b").path(), "b");
}

}  // namespace
