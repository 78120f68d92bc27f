#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>

#include "runtime/NewCrypto/ZRHash.h"
#include "runtime/NewCrypto/ZRMd5Local.h"
#include "tests/support/ResultMatchers.h"
#include "tests/support/TemporaryFolder.h"

namespace {

using holcrypto::IHash;

boost::shared_ptr<IHash> makeHash() {
  boost::shared_ptr<IHash> hash;
  EXPECT_CODE(holcrypto::ZRMd5Local::create(hash), ZRError::eNoError);
  return hash;
}

/// The digest of a text that is given to the hash in pieces of that many bytes.
std::string digestOf(IHash& hash, std::string_view text, std::size_t pieceBytes = std::string::npos) {
  for (; !text.empty(); text.remove_prefix(std::min(pieceBytes, text.size()))) {
    ZRMemReader input(text.data(), std::min(pieceBytes, text.size()));
    EXPECT_CODE(hash.update(input), ZRError::eNoError);
  }
  ZRMemBlock digest;
  EXPECT_CODE(hash.final(digest), ZRError::eNoError);
  ZRString hex;
  EXPECT_CODE(digest.toHex(hex), ZRError::eNoError);
  return hex.str();
}

// One hash takes them all: it is ready again after each digest.
TEST(Md5, TestSuiteOfRfc1321) {
  const struct {
    const char* text;
    const char* digest;
  } rows[] = {
      {"", "D41D8CD98F00B204E9800998ECF8427E"},
      {"abc", "900150983CD24FB0D6963F7D28E17F72"},
      {"", "D41D8CD98F00B204E9800998ECF8427E"},
      {"message digest", "F96B697D7CB7938D525A2F31AAF161D0"},
      {"abcdefghijklmnopqrstuvwxyz", "C3FCD3D76192E4007DFB496CCA67E13B"},
      {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789", "D174AB98D277D9F5A5611C2C9F419D9F"},
      {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
       "57EDF4A22BE3C955AC49DA2E2107B67A"},
  };
  const auto hash = makeHash();
  for (const auto& row : rows) {
    EXPECT_EQ(digestOf(*hash, row.text), row.digest) << row.text;
  }
}

TEST(Md5, AnySplitGivesTheSameDigest) {
  std::string text;
  for (int i = 0; i < 200; ++i)
    text += static_cast<char>(i * 37);
  const auto hash = makeHash();
  for (std::size_t length = 0; length <= text.size(); ++length) {
    const std::string_view whole = std::string_view(text).substr(0, length);
    const std::string expected = digestOf(*hash, whole);
    for (const std::size_t pieceBytes : {1U, 7U, 63U, 64U, 65U, 129U})
      ASSERT_EQ(digestOf(*hash, whole, pieceBytes), expected) << length << " by " << pieceBytes;
  }
}

// Around the pieces in which a file is read and the buffer that a large one gets.
TEST(Md5, AFilesDigestIsThatOfItsBytes) {
  const test::TemporaryFolder folder;
  for (const std::size_t size : {0U, 1U, 4095U, 4096U, 4097U, 131072U, 131073U, 300000U}) {
    std::string bytes(size, '\0');
    for (std::size_t i = 0; i < size; ++i)
      bytes[i] = static_cast<char>(i * 11 + i / 251);
    test::writeFile(folder / "file", bytes);
    ZRString expected(digestOf(*makeHash(), bytes));
    expected.toLower();
    ZRString text;
    EXPECT_CODE(ZRHash::fileDigestText(folder / "file", text), ZRError::eNoError);
    EXPECT_EQ(text.str(), expected.str()) << size;
    EXPECT_CODE(ZRHash::fileDigestText(folder / "missing", text), ZRError::eNotFound);
    EXPECT_EQ(text.str(), expected.str());
  }
}

}  // namespace
