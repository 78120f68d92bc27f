#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace demo {

enum class PayloadKind { framework, library, picture, text };

/// Bytes of a file that stay together from build to build: a function of a library, a paragraph of a text.
struct PayloadBlock {
  std::uint64_t seed = 0;
  std::size_t sizeBytes = 0;
};

struct PayloadFile {
  PayloadKind kind = PayloadKind::text;
  std::string path;  ///< relative to the bundle
  std::vector<PayloadBlock> blocks;

  [[nodiscard]] std::string contents() const;
};

/// What a made-up client consists of, build after build: libraries, which compress as machine code does,
/// texts, which compress well, and pictures, which do not. A generator with fixed seeds makes them, so that
/// every machine gets the same bytes. From each build to the next some files are edited (blocks of them
/// changed, moved, added, removed) and now and then there is a new one: the closer two numbers are, the more
/// their builds have in common.
class Payload {
 public:
  /// Nothing: a bundle is then a few small files.
  Payload() = default;
  /// A client whose first build has about `totalBytes`.
  explicit Payload(std::uint64_t totalBytes);

  [[nodiscard]] std::vector<PayloadFile> filesOf(std::uint32_t build) const;

 private:
  std::vector<PayloadFile> _firstBuild;
};

}  // namespace demo
