#include "tools/packager/Archive.h"

#include <stdexcept>
#include <vector>

#include "tools/packager/Digest.h"
#include "tools/support/Files.h"
#include "tools/support/Program.h"
#include "tools/support/TemporaryFolder.h"

namespace packager {

namespace fs = std::filesystem;

namespace {

/// Every entry gets this time: 2000-01-01 00:00 UTC.
constexpr const char* kEntryTime = "--mtime=@946684800";

void requirePlainName(const std::string& name) {
  if (name.empty() || name.find_first_of("/,&\\;\n") != std::string::npos) {
    throw std::runtime_error("\"" + name + "\" cannot be the name of an archived folder");
  }
}

std::vector<std::string> tarArguments(const fs::path& folder, const std::string& topName,
                                      const fs::path& output, Compression compression) {
  std::vector<std::string> arguments = {"--create",
                                        "--format=gnu",
                                        "--sort=name",
                                        "--owner=0",
                                        "--group=0",
                                        "--numeric-owner",
                                        kEntryTime,
                                        "--mode=u=rwX,go=rX,a-st",
                                        "--hard-dereference",
                                        "--transform=flags=r;s,^\\.," + topName + ",",
                                        "--file=" + output.string(),
                                        "--force-local",
                                        "--directory=" + folder.string()};
  if (compression == Compression::gzip) arguments.emplace_back("--use-compress-program=gzip -n");
  arguments.emplace_back(".");
  return arguments;
}

}  // namespace

PublishedFile archiveFolder(const fs::path& folder, const std::string& topName, const fs::path& archive,
                            Compression compression) {
  requirePlainName(topName);
  if (!fs::is_directory(folder)) throw std::runtime_error(folder.string() + " is not a folder");

  const tools::TemporaryFolder staging(fs::absolute(archive).parent_path(), ".packaging-");
  const fs::path made = staging / "archive";
  const fs::path digest = staging / "digest";
  tools::runProgram({"/usr/bin/tar", tarArguments(fs::absolute(folder), topName, made, compression)});
  PublishedFile published{archive, fs::file_size(made), md5OfFile(made)};
  tools::writeFile(digest, published.md5 + "\n");

  fs::rename(made, archive);
  fs::rename(digest, archive.string() + ".md5");
  return published;
}

PublishedFile makeFullArchive(const fs::path& bundle, std::uint32_t build, const fs::path& archive,
                              Compression compression) {
  return archiveFolder(bundle, "Vantora (" + std::to_string(build) + ").app", archive, compression);
}

}  // namespace packager
