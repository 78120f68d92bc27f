#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/Environment.h"
#include "tests/support/TemporaryFolder.h"
#include "tools/codesign/Signer.h"
#include "tools/codesign/Verifier.h"

namespace {

namespace fs = std::filesystem;
using codesign::SigningIdentity;
using namespace std::chrono_literals;
using testing::HasSubstr;

SigningIdentity makeIdentity(std::chrono::hours from = -1h, std::chrono::hours to = 24h,
                             bool forCode = true) {
  const auto now = std::chrono::system_clock::now();
  return codesign::makeSigningIdentity(
      {.commonName = "Maker", .notBefore = now + from, .notAfter = now + to, .forCodeSigning = forCode});
}

const SigningIdentity& maker() {
  static const SigningIdentity identity = makeIdentity();
  return identity;
}

void replaceLink(const fs::path& link, const char* target) {
  fs::remove(link);
  fs::create_symlink(target, link);
}

/// An application with resources, links inside, an empty folder and a nested application.
class Codesign : public testing::Test {
 protected:
  Codesign() { makeBundle(); }

  void makeBundle() const {
    fs::remove_all(bundle);
    test::writeFile(info, "<plist/>");
    test::writeFile(bundle / "Contents/MacOS/Messenger", std::string(300'000, 'm'));
    test::writeFile(bundle / "Contents/Resources/en.lproj/Text \"1\" <&>.strings", "text");
    test::writeFile(nested / "Contents/MacOS/Helper", "helper");
    fs::create_directories(bundle / "Contents/PlugIns");
    test::writeFile(folder / "outside", "x");
    fs::create_symlink("../Resources/en.lproj", link);
    fs::create_symlink("Texts", sameLink);
  }
  void sign(const SigningIdentity& identity = maker()) const { codesign::signBundle(bundle, identity); }
  /// Puts another seal in place, signed by the maker.
  void sealAnew(const std::string& list) const {
    const std::string bytes = "<plist version=\"1.0\">" + list + "</plist>";
    test::writeFile(seal, bytes);
    test::writeFile(signature, codesign::signDetached(bytes, maker()));
  }
  /// "good", or what is wrong with the bundle.
  [[nodiscard]] std::string verdict(codesign::VerifyOptions options = {.deep = true, .strict = true},
                                    const std::vector<std::string>& trusted = {maker().certificate}) const {
    try {
      codesign::verifyBundle(bundle, trusted, options);
      return "good";
    } catch (const codesign::CodeSignatureError& error) {
      return error.what();
    }
  }

  const test::TemporaryFolder folder;
  const fs::path bundle = folder / "Vantora Messenger.app";
  const fs::path info = bundle / "Contents/Info.plist";
  const fs::path link = bundle / "Contents/MacOS/Texts";
  const fs::path sameLink = bundle / "Contents/MacOS/SameTexts";
  const fs::path nested = bundle / "Contents/Frameworks/Helper.app";
  const fs::path seal = bundle / "Contents/_CodeSignature/CodeResources";
  const fs::path signature = bundle / "Contents/_CodeSignature/CodeSignature";
};

/// A well-formed SignedData without signers, which a check of "all signatures hold" finds nothing wrong with.
constexpr std::string_view kSignedByNobody(
    "\x30\x23\x06\x09\x2a\x86\x48\x86\xf7\x0d\x01\x07\x02\xa0\x16\x30\x14\x02\x01\x01"
    "\x31\x00\x30\x0b\x06\x09\x2a\x86\x48\x86\xf7\x0d\x01\x07\x01\x31\x00",
    37);

TEST_F(Codesign, FindsEachChange) {
  struct Change {
    const char* verdict;  ///< what is found with --deep and --strict, or part of it
    std::function<void()> apply;
    bool isSeenShallow = true;  ///< with neither, too
  };
  const std::string digest = "<key>hash2</key><data>" + std::string(43, 'A') + "=</data>";
  const auto items = [](const std::string& list) {
    return "<dict><key>files2</key><dict>" + list + "</dict></dict>";
  };
  const Change changes[] = {
      {"good", [] {}},
      {"good", [&] { fs::permissions(info, fs::perms::owner_all); }},
      {"good", [&] { fs::create_directories(bundle / "Contents/Empty/Deeper"); }},
      {"Contents/Info.plist was altered", [&] { test::writeFile(info, "<plisT/>"); }},
      {"Contents/Another was added", [&] { test::writeFile(bundle / "Contents/Another", ""); }},
      {"does not belong there", [&] { test::writeFile(seal.parent_path() / "x", "x"); }},
      {"Info.plist is sealed but missing", [&] { fs::remove(info); }},
      {"Contents/MacOS/Texts was altered", [&] { replaceLink(link, "../Resources"); }},
      {"Contents/MacOS/SameTexts was altered", [&] { replaceLink(sameLink, "Texts/../en.lproj"); }},
      {"leads out of the bundle or nowhere", [&] { replaceLink(link, "/bin"); }},
      {"leads out of the bundle or nowhere",
       [&] { replaceLink(link, "../../../Vantora Messenger.app/Contents"); }},
      {"leads out of the bundle or nowhere", [&] { replaceLink(sameLink, "Texts/../../../../outside"); }},
      {"leads out of the bundle or nowhere", [&] { replaceLink(link, "missing"); }},
      {"leads out of the bundle or nowhere", [&] { replaceLink(link, "Texts"); }},
      {"neither a file", [&] { mkfifo((bundle / "Contents/pipe").c_str(), 0600); }},
      {"runs as another user", [&] { fs::permissions(info, fs::perms(04755)); }, false},
      {"the signature does not hold", [&] { test::writeFile(seal, "<plist/>"); }},
      {"has no signature", [&] { fs::remove(signature); }},
      {"the signature cannot be read", [&] { test::writeFile(signature, "garbage"); }},
      {"followed by something else", [&] { test::writeFile(signature, test::readFile(signature) + "x"); }},
      {"not by exactly one signer", [&] { test::writeFile(signature, kSignedByNobody); }},
      {"large", [&] { fs::resize_file(signature, 8 << 20); }},
      {"the seal lists no items", [&] { sealAnew("<array/>"); }},
      {"malformed entry for a",
       [&] { sealAnew(items("<key>a</key><dict><key>hash2</key><data>AAAA</data></dict>")); }},
      {"malformed entry for a",
       [&] { sealAnew(items("<key>a</key><dict>" + digest + "<key>optional</key><true/></dict>")); }},
      {"../a is sealed but missing", [&] { sealAnew(items("<key>../a</key><dict>" + digest + "</dict>")); }},
      {"in Contents/Frameworks/Helper.app: Contents/MacOS/Helper was altered",
       [&] { test::writeFile(nested / "Contents/MacOS/Helper", "evil"); }, false},
      {"in Contents/Frameworks/Helper.app: the signature does not hold",
       [&] { codesign::signBundle(nested, makeIdentity()); }, false},
      {"Contents/Frameworks/Helper.app was altered",
       [&] {
         test::writeFile(nested / "Contents/MacOS/Helper", "older");
         codesign::signBundle(nested, maker());
       }},
      {"has no seal", [&] { fs::remove_all(nested / "Contents/_CodeSignature"); }},
  };
  for (const Change& change : changes) {
    makeBundle();
    sign();
    change.apply();
    const auto row = "row " + std::to_string(&change - changes);
    EXPECT_THAT(verdict(), HasSubstr(change.verdict)) << row;
    EXPECT_THAT(verdict({}), HasSubstr(change.isSeenShallow ? change.verdict : "good")) << row << ", shallow";
  }
}

constexpr const char* kMakeIssuedCertificate = R"(set -e
cd "$1"
request() { openssl req -newkey rsa:2048 -nodes -keyout $1.key -subj /CN=$1 "${@:2}"; }
request issuer -x509 -days 1 -addext keyUsage=keyCertSign -out issuer.pem
request maker -out maker.csr
printf '%s\n' extendedKeyUsage=codeSigning keyUsage=digitalSignature basicConstraints=CA:FALSE \
  subjectKeyIdentifier=hash authorityKeyIdentifier=keyid >maker.ext
openssl x509 -req -in maker.csr -CA issuer.pem -CAkey issuer.key -days 1 -extfile maker.ext -out maker.pem
)";

TEST_F(Codesign, TrustsWhoItIsToldTo) {
  test::writeFile(folder / "make", kMakeIssuedCertificate);
  const std::string command = "bash '" + (folder / "make") + "' '" + folder.path() + "' >/dev/null 2>&1";
  ASSERT_EQ(std::system(command.c_str()), 0);
  const auto read = [&](const char* name) { return test::readFile(folder / name); };
  const SigningIdentity issued{.certificate = read("maker.pem"), .privateKey = read("maker.key")};
  const SigningIdentity other = makeIdentity();
  const SigningIdentity expired = makeIdentity(-48h, -24h);
  const SigningIdentity server = makeIdentity(-1h, 24h, false);
  struct Signer {
    const char* name;
    SigningIdentity identity;
    std::vector<std::string> trusted;
    const char* verdict;
  };
  const Signer signers[] = {
      {"one of several", maker(), {other.certificate, maker().certificate}, "good"},
      {"one whom a trusted issuer names", issued, {read("issuer.pem")}, "good"},
      {"the same without the issuer", issued, {issued.certificate}, "good"},
      {"one whom another issuer names", issued, {maker().certificate}, "issuer certificate"},
      {"a stranger", other, {maker().certificate}, "self-signed certificate"},
      {"expired", expired, {expired.certificate}, "certificate has expired"},
      {"not for code", server, {server.certificate}, "not for code signing"},
      {"the trusted certificate is broken", maker(), {"no certificate"}, "cannot be read"},
  };
  for (const Signer& signer : signers) {
    sign(signer.identity);
    EXPECT_THAT(verdict({.deep = true}, signer.trusted), HasSubstr(signer.verdict)) << signer.name;
  }
}

/// The program, in an installation of its own.
class CodesignProgram : public Codesign {
 protected:
  CodesignProgram() {
    fs::create_directories(folder / "bin");
    fs::copy_file(VERIFIER, folder / "bin/codesign-verifier");
    test::writeFile(certificates / "maker.pem", maker().certificate);
    sign();
  }

  /// The exit status.
  [[nodiscard]] int run(const std::string& arguments) const {
    const std::string command = '\'' + (folder / "bin/codesign-verifier") + "' " + arguments + " 2>'" +
                                (folder / "complaint") + "' </dev/null";
    const int status = std::system(command.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  [[nodiscard]] std::string complaint() const { return test::readFile(folder / "complaint"); }

  const fs::path certificates = folder / "share/vantora/signing-certificates";
  const std::string quoted = " '" + bundle.string() + "'";
};

TEST_F(CodesignProgram, ExitStatuses) {
  fs::create_directory_symlink(bundle, folder / "link.app");
  const std::string toLink = "--verify --strict '" + (folder / "link.app");
  const std::pair<std::string, int> cases[] = {
      {"--verify --deep --strict=all" + quoted, 0},
      {toLink + "'", 1},
      {toLink + "//./.'", 1},
      {toLink + "/Contents/..'", 1},
      {"--verify '" + (folder / "missing") + "'", 1},
      {"--verify", 2},
      {"--deep" + quoted, 2},
      {"--verify" + quoted + quoted, 2},
  };
  for (const auto& [arguments, status] : cases) {
    EXPECT_EQ(run(arguments), status) << arguments;
    EXPECT_EQ(complaint().empty(), status == 0) << arguments;
  }
}

TEST_F(CodesignProgram, TrustsNothingThatOthersCouldHavePutThere) {
  using fs::perms;
  const fs::path file = certificates / "maker.pem";
  const fs::path above = certificates.parent_path();
  const auto give = [&](uid_t user, gid_t group) { ASSERT_EQ(lchown(file.c_str(), user, group), 0); };
  const auto moveBehindLink = [](const fs::path& path) {
    fs::rename(path, path.string() + "2");
    fs::create_symlink(path.filename().string() + "2", path);
  };
  struct Case {
    const char* complaint;  ///< empty: trusted
    std::function<void()> spoil;
    bool asRoot = false;  ///< only root can spoil it so
  };
  const Case cases[] = {
      {"", [&] { fs::permissions(above, perms(01777)); }},  // sticky: nobody can replace what is in it
      {"vantora can be written by others", [&] { fs::permissions(above, perms(0777)); }},
      {"signing-certificates can be written by others", [&] { fs::permissions(certificates, perms(01777)); }},
      {"maker.pem can be written by others", [&] { fs::permissions(file, perms(0666)); }},
      {"maker.pem can be written by others",
       [&] {
         give(geteuid(), 65534);
         fs::permissions(file, perms(0664));
       },
       true},
      {"maker.pem belongs to another user", [&] { give(65534, getegid()); }, true},
      {"maker.pem is a link", [&] { moveBehindLink(file); }},
      {"vantora is a link", [&] { moveBehindLink(above); }},
      {"no maker certificates", [&] { fs::rename(file, certificates / "README"); }},
  };
  for (const Case& c : cases) {
    if (c.asRoot && geteuid() != 0) continue;
    fs::remove_all(folder / "share");
    test::writeFile(file, maker().certificate);
    c.spoil();
    EXPECT_EQ(run("--verify" + quoted), *c.complaint == '\0' ? 0 : 1) << c.complaint;
    EXPECT_THAT(complaint(), HasSubstr(c.complaint));
  }
}

TEST_F(CodesignProgram, NeitherEnvironmentNorHomeAddsTrust) {
  const std::string elsewhere = folder / "elsewhere";
  const SigningIdentity stranger = makeIdentity();
  test::writeFile(elsewhere + "/share/vantora/signing-certificates/all.pem", stranger.certificate);
  test::writeFile(elsewhere + "/openssl.cnf", "openssl_conf = missing\n");
  std::map<std::string, std::string> variables = {{"OPENSSL_CONF", elsewhere + "/openssl.cnf"}};
  for (const char* name : {"HOME", "XDG_DATA_HOME", "XDG_DATA_DIRS", "VANTORA_SYSTEM_ROOT", "SSL_CERT_DIR"})
    variables[name] = elsewhere;
  const auto environment = test::ScopedEnvironment::with(variables);
  EXPECT_EQ(run("--verify" + quoted), 0);
  sign(stranger);
  EXPECT_EQ(run("--verify" + quoted), 1);
}

}  // namespace
