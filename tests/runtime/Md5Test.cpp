#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>
#include <string_view>

#include "runtime/NewCrypto/ZRHash.h"
#include "runtime/NewCrypto/ZRMd5Local.h"
#include "tests/support/ResultMatchers.h"
#include "tests/support/TemporaryFolder.h"

namespace {

using holcrypto::IHash;

constexpr const char* kDigestOfNothing = "D41D8CD98F00B204E9800998ECF8427E";

boost::shared_ptr<IHash> makeHash() {
  boost::shared_ptr<IHash> hash;
  EXPECT_CODE(holcrypto::ZRMd5Local::create(hash), ZRError::eNoError);
  return hash;
}

ZRResult update(IHash& hash, std::string_view text) {
  ZRMemReader input(text.data(), text.size());
  ZRResult result = hash.update(input);
  EXPECT_EQ(input.unreadSize(), 0U);
  return result;
}

std::string hex(const ZRMemBlock& digest) {
  ZRString text;
  EXPECT_CODE(digest.toHex(text), ZRError::eNoError);
  return text.str();
}

std::string finished(IHash& hash) {
  ZRMemBlock digest;
  EXPECT_CODE(hash.final(digest), ZRError::eNoError);
  return hex(digest);
}

std::string digestOf(std::string_view text) {
  const auto hash = makeHash();
  ZRMemReader input(text.data(), text.size());
  ZRMemBlock digest;
  EXPECT_CODE(hash->hash(input, digest), ZRError::eNoError);
  return hex(digest);
}

TEST(Md5, TestSuiteOfRfc1321) {
  const struct {
    const char* text;
    const char* digest;
  } rows[] = {
      {"", kDigestOfNothing},
      {"a", "0CC175B9C0F1B6A831C399E269772661"},
      {"abc", "900150983CD24FB0D6963F7D28E17F72"},
      {"message digest", "F96B697D7CB7938D525A2F31AAF161D0"},
      {"abcdefghijklmnopqrstuvwxyz", "C3FCD3D76192E4007DFB496CCA67E13B"},
      {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789", "D174AB98D277D9F5A5611C2C9F419D9F"},
      {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
       "57EDF4A22BE3C955AC49DA2E2107B67A"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(digestOf(row.text), row.digest) << row.text;
  }
}

TEST(Md5, AnySplitGivesTheSameDigest) {
  std::string text;
  for (int i = 0; i < 200; ++i)
    text += static_cast<char>(i * 37);
  for (std::size_t length = 0; length <= text.size(); ++length) {
    const std::string_view whole = std::string_view(text).substr(0, length);
    const std::string expected = digestOf(whole);
    for (std::size_t piece : {1, 7, 63, 64, 65, 129}) {
      const auto hash = makeHash();
      for (std::size_t at = 0; at < length; at += piece)
        EXPECT_CODE(update(*hash, whole.substr(at, piece)), ZRError::eNoError);
      ASSERT_EQ(finished(*hash), expected) << length << " bytes in pieces of " << piece;
    }
  }
}

TEST(Md5, HashIsReadyAgainAfterEachDigest) {
  const auto hash = makeHash();
  EXPECT_CODE(update(*hash, "abc"), ZRError::eNoError);
  EXPECT_EQ(finished(*hash), digestOf("abc"));
  EXPECT_EQ(finished(*hash), kDigestOfNothing);
  EXPECT_CODE(update(*hash, "a"), ZRError::eNoError);
  EXPECT_EQ(finished(*hash), digestOf("a"));
}

TEST(Md5, AFilesDigestIsWrittenInLowerCase) {
  const test::TemporaryFolder folder;
  test::writeFile(folder / "file", "abc");
  ZRString text;
  EXPECT_CODE(ZRHash::fileDigestText(folder / "file", text), ZRError::eNoError);
  EXPECT_EQ(text.str(), "900150983cd24fb0d6963f7d28e17f72");
  EXPECT_CODE(ZRHash::fileDigestText(folder / "missing", text), ZRError::eNotFound);
  EXPECT_EQ(text.str(), "900150983cd24fb0d6963f7d28e17f72");
}

TEST(Md5, FilesOfAllSizes) {
  const test::TemporaryFolder folder;
  for (const std::size_t size : {0, 1, 4095, 4096, 4097, 131072, 131073, 300000}) {
    std::string bytes(size, '\0');
    for (std::size_t i = 0; i < size; ++i)
      bytes[i] = static_cast<char>(i * 11 + i / 251);
    test::writeFile(folder / "file", bytes);
    ZRMemBlock digest;
    ASSERT_CODE(ZRHash::fileDigest(folder / "file", digest), ZRError::eNoError);
    EXPECT_EQ(hex(digest), digestOf(bytes)) << size;
  }
  ZRMemBlock digest;
  EXPECT_CODE(ZRHash::fileDigest(folder / "missing", digest), ZRError::eNotFound);
  EXPECT_FALSE(test::exists(folder / "missing"));
  ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
  for (const std::string& path : {folder.path(), folder / "pipe"})
    EXPECT_CODE(ZRHash::fileDigest(path, digest), ZRError::eIOError) << path;
}

}  // namespace
