#include "tools/demo/Payload.h"

#include <algorithm>
#include <array>
#include <random>

namespace demo {
namespace {

/// The build that the client began with; earlier numbers are the same build.
constexpr std::uint32_t kFirstBuild = 7700;
/// From one build to the next one file in this many is edited.
constexpr std::size_t kEditedEvery = 15;
/// One build in this many has a new file.
constexpr std::uint32_t kNewFileEvery = 5;

/// The same numbers everywhere, which the library's distributions do not promise. Cheap to seed.
class Random {
 public:
  explicit Random(std::uint64_t seed) : _engine(seed) {}
  std::uint64_t next() { return _engine() >> 32U; }
  /// 0 ... limit-1
  std::size_t below(std::size_t limit) { return static_cast<std::size_t>(next() * limit >> 32U); }
  std::size_t between(std::size_t least, std::size_t most) { return least + below(most - least + 1); }
  /// A seed for something else.
  std::uint64_t seed() { return next() << 32U | next(); }

 private:
  std::linear_congruential_engine<std::uint64_t, 6364136223846793005ULL, 1442695040888963407ULL, 0> _engine;
};

/// Texts that are used again and again, the first ones most often.
class Vocabulary {
 public:
  template <typename Make>
  explicit Vocabulary(Make make) {
    Random random(1);
    for (std::string& word : _words)
      word = make(random);
  }
  const std::string& pick(Random& random) const {
    const std::size_t limit = random.between(1, _words.size());
    return _words.at(random.below(limit));
  }

 private:
  std::array<std::string, 512> _words;
};

std::string makeInstruction(Random& random) {
  std::string bytes(random.between(2, 9), '\0');
  for (char& byte : bytes)
    byte = static_cast<char>(random.next());
  return bytes;
}

std::string makeWord(Random& random) {
  std::string word;
  for (std::size_t syllables = random.between(1, 3); syllables > 0; --syllables) {
    word += "bdfgklmnprstvz"[random.below(14)];
    word += "aeiou"[random.below(5)];
  }
  return word;
}

const std::string& word(Random& random) {
  static const Vocabulary kWords(makeWord);
  return kWords.pick(random);
}

/// A function: where it lies, then instructions, some of them with an operand. What lies behind an edit says
/// something else about its place, as addresses in machine code do.
void appendCode(std::size_t sizeBytes, Random& random, std::string& bytes) {
  static const Vocabulary kInstructions(makeInstruction);
  const std::size_t place = bytes.size();
  for (unsigned shift = 0; shift < 32; shift += 8)
    bytes += static_cast<char>(place >> shift);
  while (bytes.size() < place + sizeBytes) {
    bytes += kInstructions.pick(random);
    if (random.below(6) == 0) bytes += static_cast<char>(random.next());
  }
}

void appendText(std::size_t sizeBytes, Random& random, std::string& bytes) {
  const std::size_t end = bytes.size() + sizeBytes;
  while (bytes.size() < end) {
    bytes += "\"" + word(random) + "." + word(random) + "\" = \"";
    for (std::size_t words = random.between(2, 9); words > 0; --words)
      bytes += word(random) + (words > 1 ? " " : "\";\n");
  }
}

void appendNoise(std::size_t sizeBytes, Random& random, std::string& bytes) {
  for (; sizeBytes > 0; --sizeBytes)
    bytes += static_cast<char>(random.next());
}

PayloadBlock makeBlock(PayloadKind kind, Random& random) {
  constexpr std::size_t kPictureBytes = 16'000;  // compressed together: an edit changes all of it
  return {random.seed(), kind == PayloadKind::picture ? kPictureBytes : random.between(100, 1200)};
}

/// Of sixteen files one is a framework, four are libraries, four pictures, the others texts.
PayloadKind kindOf(std::size_t number) {
  const std::size_t place = number % 16;
  if (place == 0) return PayloadKind::framework;
  if (place <= 4) return PayloadKind::library;
  return place <= 8 ? PayloadKind::picture : PayloadKind::text;
}

std::size_t sizeOf(PayloadKind kind, Random& random) {
  switch (kind) {
    case PayloadKind::framework:
      return random.between(400'000, 3'000'000);
    case PayloadKind::library:
      return random.between(40'000, 250'000);
    case PayloadKind::picture:
      return random.between(50'000, 400'000);
    case PayloadKind::text:
      break;
  }
  return random.between(2'000, 24'000);
}

std::string pathOf(PayloadKind kind, std::size_t number, Random& random) {
  const std::string name = word(random) + std::to_string(number);
  switch (kind) {
    case PayloadKind::framework:
      return "Contents/Frameworks/" + name + ".framework/Versions/A/" + name;
    case PayloadKind::library:
      return "Contents/Frameworks/lib" + name + ".dylib";
    case PayloadKind::picture:
      return "Contents/Resources/" + name + ".png";
    case PayloadKind::text:
      break;
  }
  constexpr std::array<const char*, 6> kLanguages = {"de", "en", "es", "fr", "ja", "pt"};
  return std::string("Contents/Resources/") + kLanguages.at(number % kLanguages.size()) + ".lproj/" + name +
         ".strings";
}

PayloadFile makeFile(std::size_t number) {
  Random random(number);
  PayloadFile file{kindOf(number), {}, {}};
  file.path = pathOf(file.kind, number, random);
  const std::size_t sizeBytes = sizeOf(file.kind, random);
  for (std::size_t made = 0; made < sizeBytes; made += file.blocks.back().sizeBytes)
    file.blocks.push_back(makeBlock(file.kind, random));
  return file;
}

std::size_t sizeBytes(const PayloadFile& file) {
  std::size_t bytes = 0;
  for (const PayloadBlock& block : file.blocks)
    bytes += block.sizeBytes;
  return bytes;
}

/// Changes, adds, removes or moves a block.
void edit(PayloadFile& file, Random& random) {
  const auto at = [&](std::size_t index) { return file.blocks.begin() + static_cast<std::ptrdiff_t>(index); };
  const std::size_t first = random.below(file.blocks.size());
  switch (random.below(8)) {
    case 0:
      file.blocks.insert(at(first), makeBlock(file.kind, random));
      break;
    case 1:
      if (file.blocks.size() > 1) file.blocks.erase(at(first));
      break;
    case 2:
      std::rotate(file.blocks.begin(), at(first / 2), at(first));
      break;
    default:
      *at(first) = makeBlock(file.kind, random);
  }
}

/// What was done to the client between the build before and this one.
void develop(std::uint32_t build, std::vector<PayloadFile>& files) {
  Random random(build);
  for (std::size_t edits = files.size() / kEditedEvery; edits > 0; --edits)
    edit(files[random.below(files.size())], random);
  if (build % kNewFileEvery == 0) files.push_back(makeFile(files.size()));
}

}  // namespace

std::string PayloadFile::contents() const {
  std::string bytes;
  for (const PayloadBlock& block : blocks) {
    Random random(block.seed);
    switch (kind) {
      case PayloadKind::framework:
      case PayloadKind::library:
        appendCode(block.sizeBytes, random, bytes);
        break;
      case PayloadKind::picture:
        appendNoise(block.sizeBytes, random, bytes);
        break;
      case PayloadKind::text:
        appendText(block.sizeBytes, random, bytes);
        break;
    }
  }
  return bytes;
}

Payload::Payload(std::uint64_t totalBytes) {
  for (std::uint64_t made = 0; made < totalBytes; made += sizeBytes(_firstBuild.back()))
    _firstBuild.push_back(makeFile(_firstBuild.size()));
}

std::vector<PayloadFile> Payload::filesOf(std::uint32_t build) const {
  std::vector<PayloadFile> files = _firstBuild;
  if (files.empty()) return files;
  for (std::uint32_t number = kFirstBuild + 1; number <= build; ++number)
    develop(number, files);
  return files;
}

}  // namespace demo
