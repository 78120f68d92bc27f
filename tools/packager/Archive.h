#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

/// What an operator publishes: archives of builds, delta packages between them, and the update info.
///
/// What cannot be published throws std::runtime_error, which says which file and why.
namespace packager {

enum class Compression { none, gzip };

/// An archive and, beside it, its digest: 32 lower-case hexadecimal digits and a line feed in `<path>.md5`.
struct PublishedFile {
  std::filesystem::path path;
  std::uint64_t sizeBytes = 0;
  std::string md5;
};

/// Archives `folder` under the name `topName` with tar and writes the digest beside it. The same contents
/// give the same bytes on every machine: names are sorted, owner and times fixed, modes reduced to 0755
/// (folders and files that anyone may execute) and 0644; symbolic links stay links. Both files replace what
/// was there, the digest last.
PublishedFile archiveFolder(const std::filesystem::path& folder, const std::string& topName,
                            const std::filesystem::path& archive, Compression compression);

/// The full archive of a client build: its bundle as "Vantora (<build>).app", whatever it is called on disk.
PublishedFile makeFullArchive(const std::filesystem::path& bundle, std::uint32_t build,
                              const std::filesystem::path& archive,
                              Compression compression = Compression::gzip);

}  // namespace packager
