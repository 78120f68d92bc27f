// MD5: in 4096-byte pieces in memory against OpenSSL's EVP interface, and of a whole cached file against
// md5sum.

#include <openssl/evp.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "benchmarks/Measure.h"
#include "runtime/NewCrypto/ZRHash.h"
#include "runtime/NewCrypto/ZRMd5Local.h"

namespace {

constexpr std::size_t kPieceBytes = 4096;
constexpr std::size_t kPieces = 16 * 1024;
constexpr std::size_t kFileBytes = std::size_t{1} << 30;

void require(bool condition, const char* what) {
  if (!condition) throw std::runtime_error(what);
}

ZRMemBlock ourDigest(const std::vector<std::uint8_t>& piece) {
  boost::shared_ptr<holcrypto::IHash> hash;
  require(holcrypto::ZRMd5Local::create(hash).isSuccess(), "create");
  for (std::size_t i = 0; i < kPieces; ++i) {
    ZRMemReader input(piece.data(), piece.size());
    require(hash->update(input).isSuccess(), "update");
  }
  ZRMemBlock digest;
  require(hash->final(digest).isSuccess(), "final");
  return digest;
}

std::vector<std::uint8_t> peerDigest(const std::vector<std::uint8_t>& piece) {
  const std::unique_ptr<EVP_MD_CTX, void (*)(EVP_MD_CTX*)> context(EVP_MD_CTX_new(), EVP_MD_CTX_free);
  require(EVP_DigestInit_ex(context.get(), EVP_md5(), nullptr) == 1, "EVP_DigestInit_ex");
  for (std::size_t i = 0; i < kPieces; ++i) {
    require(EVP_DigestUpdate(context.get(), piece.data(), piece.size()) == 1, "EVP_DigestUpdate");
  }
  std::vector<std::uint8_t> digest(16);
  require(EVP_DigestFinal_ex(context.get(), digest.data(), nullptr) == 1, "EVP_DigestFinal_ex");
  return digest;
}

void comparePieces() {
  std::vector<std::uint8_t> piece(kPieceBytes);
  for (std::size_t i = 0; i < piece.size(); ++i)
    piece[i] = static_cast<std::uint8_t>(i * 131 + i / 7);
  require(std::memcmp(ourDigest(piece).data(), peerDigest(piece).data(), 16) == 0, "the digests differ");
  const auto best = benchmark::compare(
      15, [&piece] { ourDigest(piece); }, [&piece] { peerDigest(piece); });
  benchmark::print("MD5 in 4096-byte pieces", "OpenSSL EVP", best, benchmark::Meaning::speed, 1.04);
}

void writeFile(const std::string& path) {
  std::vector<char> block(std::size_t{1} << 20);
  std::ofstream file(path, std::ios::binary);
  for (std::size_t written = 0; written < kFileBytes; written += block.size()) {
    for (std::size_t i = 0; i < block.size(); i += 64)
      block[i] = static_cast<char>(written >> 20 ^ i >> 6);
    file.write(block.data(), static_cast<std::streamsize>(block.size()));
  }
  file.close();
  require(file.good(), "the file cannot be written");
}

void compareFile(const std::string& path) {
  const std::string command = "md5sum '" + path + "' > /dev/null";
  const auto best = benchmark::compare(
      5,
      [&path] {
        ZRMemBlock digest;
        require(ZRHash::fileDigest(ZRString(path), digest).isSuccess(), "fileDigest");
      },
      [&command] { require(std::system(command.c_str()) == 0, "md5sum"); });
  benchmark::print("MD5 of a cached 1 GiB file", "md5sum, wall", best, benchmark::Meaning::time, 0.95);
}

}  // namespace

int main() {
  comparePieces();
  const auto path =
      std::filesystem::temp_directory_path() / ("vantora-md5-benchmark-" + std::to_string(getpid()));
  writeFile(path.string());
  compareFile(path.string());
  std::filesystem::remove(path);
}
