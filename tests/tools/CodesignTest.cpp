#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include "tests/support/TemporaryFolder.h"
#include "tools/codesign/BundleContents.h"
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

constexpr const char* kHelper = "Contents/Frameworks/Helper.app";

/// An application with resources, an inside link, an empty folder and a nested application.
void makeBundle(const fs::path& bundle) {
  test::writeFile(bundle / "Contents/Info.plist", "<plist/>");
  test::writeFile(bundle / "Contents/MacOS/Messenger", std::string(300'000, 'm'));
  test::writeFile(bundle / "Contents/Resources/en.lproj/Text \"1\" <&>.strings", "text");
  test::writeFile(bundle / kHelper / "Contents/MacOS/Helper", "helper");
  fs::create_directories(bundle / "Contents/PlugIns");
  fs::create_symlink("../Resources/en.lproj", bundle / "Contents/MacOS/Texts");
  fs::create_symlink("Texts", bundle / "Contents/MacOS/SameTexts");
}

/// What is wrong with the bundle; empty when nothing is.
std::string verdict(const fs::path& bundle, codesign::VerifyOptions options = {.deep = true, .strict = true},
                    const std::vector<std::string>& trusted = {maker().certificate}) {
  try {
    codesign::verifyBundle(bundle, trusted, options);
    return "";
  } catch (const codesign::CodeSignatureError& error) {
    return error.what();
  }
}

class Codesign : public testing::Test {
 protected:
  Codesign() { makeBundle(bundle); }

  void sign(const SigningIdentity& identity = maker()) { codesign::signBundle(bundle, identity); }

  test::TemporaryFolder folder;
  const fs::path bundle = folder / "Vantora Messenger.app";
  const fs::path seal = bundle / "Contents/_CodeSignature/CodeResources";
  const fs::path signature = bundle / "Contents/_CodeSignature/CodeSignature";
};

void replaceLink(const fs::path& link, const char* target) {
  fs::remove(link);
  fs::create_symlink(target, link);
}

/// A well-formed SignedData without signers, which a check of "all signatures hold" finds nothing wrong with.
std::string signatureByNobody() {
  constexpr unsigned char kBytes[] = {0x30, 0x23, 0x06, 0x09, 0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d,
                                      0x01, 0x07, 0x02, 0xa0, 0x16, 0x30, 0x14, 0x02, 0x01, 0x01,
                                      0x31, 0x00, 0x30, 0x0b, 0x06, 0x09, 0x2a, 0x86, 0x48, 0x86,
                                      0xf7, 0x0d, 0x01, 0x07, 0x01, 0x31, 0x00};
  return {std::begin(kBytes), std::end(kBytes)};
}

/// A matcher of a verdict that contains the text, or is empty for an empty text.
testing::Matcher<std::string> says(const std::string& text) {
  if (text.empty()) return testing::IsEmpty();
  return HasSubstr(text);
}

struct Change {
  const char* name;
  std::function<void(const fs::path&)> apply;
  const char* verdict;  ///< part of what is found with --deep and --strict; empty: the bundle is good
  const char* shallow = nullptr;  ///< the same with neither, when it differs
};

const Change kChanges[] = {
    {"nothing", [](const fs::path&) {}, ""},
    {"times and modes",
     [](const fs::path& b) {
       fs::permissions(b / "Contents/Info.plist", fs::perms::owner_all);
       fs::last_write_time(b / "Contents/Info.plist", fs::file_time_type::clock::now() - 1h);
     },
     ""},
    {"empty folder", [](const fs::path& b) { fs::create_directories(b / "Contents/Empty/Deeper"); }, ""},
    {"file altered", [](const fs::path& b) { test::writeFile(b / "Contents/Info.plist", "<plisT/>"); },
     "Contents/Info.plist was altered"},
    {"file added", [](const fs::path& b) { test::writeFile(b / "Contents/MacOS/Another", ""); },
     "Contents/MacOS/Another was added"},
    {"file added to the signature",
     [](const fs::path& b) { test::writeFile(b / "Contents/_CodeSignature/x", "x"); },
     "does not belong there"},
    {"file removed", [](const fs::path& b) { fs::remove(b / "Contents/Info.plist"); },
     "Info.plist is sealed but missing"},
    {"link target changed",
     [](const fs::path& b) { replaceLink(b / "Contents/MacOS/Texts", "../Resources"); },
     "Contents/MacOS/Texts was altered"},
    {"link leads outside", [](const fs::path& b) { replaceLink(b / "Contents/MacOS/Texts", "/bin"); },
     "leads out of the bundle"},
    {"special file", [](const fs::path& b) { mkfifo((b / "Contents/pipe").c_str(), 0600); },
     "neither a file"},
    {"runs as another user",
     [](const fs::path& b) { fs::permissions(b / "Contents/MacOS/Messenger", fs::perms(04755)); },
     "runs as another user", ""},
    {"seal altered",
     [](const fs::path& b) { test::writeFile(b / "Contents/_CodeSignature/CodeResources", "<plist/>"); },
     "the signature does not hold"},
    {"signature removed", [](const fs::path& b) { fs::remove(b / "Contents/_CodeSignature/CodeSignature"); },
     "has no signature"},
    {"signature is garbage",
     [](const fs::path& b) { test::writeFile(b / "Contents/_CodeSignature/CodeSignature", "garbage"); },
     "the signature cannot be read"},
    {"something behind the signature",
     [](const fs::path& b) {
       const auto file = b / "Contents/_CodeSignature/CodeSignature";
       test::writeFile(file, test::readFile(file) + "x");
     },
     "followed by something else"},
    {"signed by nobody",
     [](const fs::path& b) {
       test::writeFile(b / "Contents/_CodeSignature/CodeSignature", signatureByNobody());
     },
     "not by exactly one signer"},
    {"huge signature",
     [](const fs::path& b) { fs::resize_file(b / "Contents/_CodeSignature/CodeSignature", 8 << 20); },
     "large"},
    {"nested file altered",
     [](const fs::path& b) { test::writeFile(b / kHelper / "Contents/MacOS/Helper", "evil"); },
     "in Contents/Frameworks/Helper.app: Contents/MacOS/Helper was altered", ""},
    {"nested signed anew by a stranger",
     [](const fs::path& b) { codesign::signBundle(b / kHelper, makeIdentity()); },
     "in Contents/Frameworks/Helper.app: the signature does not hold", ""},
    {"nested altered and signed anew",
     [](const fs::path& b) {
       test::writeFile(b / kHelper / "Contents/MacOS/Helper", "older");
       codesign::signBundle(b / kHelper, maker());
     },
     "Helper.app was altered"},
    {"nested unsigned", [](const fs::path& b) { fs::remove_all(b / kHelper / "Contents/_CodeSignature"); },
     "has no seal"},
};

TEST_F(Codesign, FindsEachChange) {
  for (const Change& change : kChanges) {
    fs::remove_all(folder.path());
    makeBundle(bundle);
    sign();
    change.apply(bundle);
    EXPECT_THAT(verdict(bundle), says(change.verdict)) << change.name;
    EXPECT_THAT(verdict(bundle, {}), says(change.shallow != nullptr ? change.shallow : change.verdict))
        << change.name << ", shallow";
  }
}

TEST_F(Codesign, TrustsWhoItIsToldTo) {
  struct Signer {
    const char* name;
    SigningIdentity identity;
    std::vector<std::string> trusted;
    const char* verdict;
  };
  const SigningIdentity other = makeIdentity();
  const SigningIdentity expired = makeIdentity(-48h, -24h);
  const SigningIdentity future = makeIdentity(24h, 48h);
  const SigningIdentity server = makeIdentity(-1h, 24h, false);
  const Signer signers[] = {
      {"one of several", maker(), {other.certificate, maker().certificate}, ""},
      {"a stranger", other, {maker().certificate}, "self-signed certificate"},
      {"nobody is trusted", maker(), {}, "self-signed certificate"},
      {"expired", expired, {expired.certificate}, "certificate has expired"},
      {"not yet valid", future, {future.certificate}, "certificate is not yet valid"},
      {"not for code", server, {server.certificate}, "not for code signing"},
      {"the trusted certificate is broken", maker(), {"no certificate"}, "cannot be read"},
  };
  for (const Signer& signer : signers) {
    sign(signer.identity);
    EXPECT_THAT(verdict(bundle, {.deep = true}, signer.trusted), says(signer.verdict)) << signer.name;
  }
}

constexpr const char* kMakeIssuedCertificate = R"(set -e
cd "$1"
request() { openssl req -newkey rsa:2048 -nodes -keyout $1.key -subj /CN=$1 "${@:2}"; }
request issuer -x509 -days 1 -addext keyUsage=keyCertSign -out issuer.pem
request other -x509 -days 1 -addext keyUsage=keyCertSign -out other.pem
request maker -out maker.csr
printf '%s\n' extendedKeyUsage=codeSigning keyUsage=digitalSignature basicConstraints=CA:FALSE \
  subjectKeyIdentifier=hash authorityKeyIdentifier=keyid >maker.ext
openssl x509 -req -in maker.csr -CA issuer.pem -CAkey issuer.key -days 1 -extfile maker.ext -out maker.pem
)";

TEST_F(Codesign, TrustsWhomATrustedIssuerNames) {
  test::writeFile(folder / "make", kMakeIssuedCertificate);
  const std::string command = "bash '" + (folder / "make") + "' '" + folder.path() + "' >/dev/null 2>&1";
  ASSERT_EQ(std::system(command.c_str()), 0);
  const auto read = [&](const char* name) { return test::readFile(folder / name); };
  sign({.certificate = read("maker.pem"), .privateKey = read("maker.key")});
  EXPECT_EQ(verdict(bundle, {.deep = true}, {read("issuer.pem")}), "");
  EXPECT_EQ(verdict(bundle, {.deep = true}, {read("maker.pem")}), "");  // without its issuer
  EXPECT_THAT(verdict(bundle, {.deep = true}, {read("other.pem")}), HasSubstr("issuer certificate"));
}

TEST_F(Codesign, RefusesSealsThatAreSignedButWrong) {
  const std::string digest(43, 'A');
  const auto item = [](const std::string& path, const std::string& content) {
    return "<key>" + path + "</key><dict>" + content + "</dict>";
  };
  const auto list = [](const std::string& items) {
    return "<plist version=\"1.0\"><dict><key>files2</key><dict>" + items + "</dict></dict></plist>";
  };
  const std::pair<std::string, const char*> cases[] = {
      {"<plist version=\"1.0\"><array/></plist>", "the seal lists no items"},
      {list("<key>a</key><string>x</string>"), "malformed entry for a"},
      {list(item("a", "<key>hash2</key><data>AAAA</data>")), "malformed entry for a"},
      {list(item("a", "<key>hash2</key><data>" + digest + "=</data><key>optional</key><true/>")),
       "malformed entry"},
      {list(item("../a", "<key>hash2</key><data>" + digest + "=</data>")), "../a is sealed but missing"},
  };
  for (const auto& [bytes, expected] : cases) {
    sign();
    test::writeFile(seal, bytes);
    test::writeFile(signature, codesign::signDetached(bytes, maker()));
    EXPECT_THAT(verdict(bundle), HasSubstr(expected)) << bytes;
  }
}

TEST_F(Codesign, LinksStayInside) {
  const std::pair<const char*, bool> cases[] = {
      {"Texts/../en.lproj", true},  // by way of another link
      {"/bin/sh", false},
      {"../../../Vantora Messenger.app/Contents/Info.plist", false},  // out and in again
      {"SameTexts/../../../../outside", false},
      {"missing", false},
      {"loop", false},
  };
  test::writeFile(folder / "outside", "x");
  for (const auto& [target, isFine] : cases) {
    replaceLink(bundle / "Contents/MacOS/loop", target);
    const auto describe = [&] {
      return codesign::describeItem(bundle, {"Contents/MacOS/loop", codesign::SealedItem::Kind::link});
    };
    if (isFine) {
      EXPECT_EQ(describe().target, target);
    } else {
      EXPECT_THROW(describe(), codesign::CodeSignatureError) << target;
    }
  }
}

TEST_F(Codesign, SignerRefusesWhatCannotBeSealed) {
  test::writeFile(bundle / "Contents/\xff", "x");
  EXPECT_THROW(sign(), codesign::CodeSignatureError);
}

/// The program, in an installation of its own.
class CodesignProgram : public Codesign {
 protected:
  CodesignProgram() {
    fs::create_directories(folder / "bin");
    fs::copy_file(VERIFIER, folder / "bin/codesign-verifier");
    test::writeFile(certificates / "maker.pem", maker().certificate);
  }

  /// The exit status.
  int run(const std::string& arguments) const {
    const std::string command = "'" + (folder / "bin/codesign-verifier") + "' " + arguments + " 2>'" +
                                (folder / "complaint") + "' </dev/null";
    const int status = std::system(command.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  std::string quoted() const { return " '" + bundle.string() + "'"; }

  const fs::path certificates = folder / "share/vantora/signing-certificates";
};

TEST_F(CodesignProgram, ExitStatuses) {
  sign();
  fs::create_directory_symlink(bundle, folder / "link.app");
  const std::pair<std::string, int> cases[] = {
      {"--verify --deep --strict=all" + quoted(), 0},
      {"--verify --deep" + quoted() + "/./", 0},
      {"--verify" + quoted(), 0},
      {"--verify --strict '" + (folder / "link.app") + "'", 1},
      {"--verify '" + (folder / "link.app/") + "'", 1},
      {"--verify '" + (folder / "link.app//./.") + "'", 1},
      {"--verify '" + (folder / "link.app/Contents/..") + "'", 1},
      {"--verify /dev/null", 1},
      {"--verify '" + (folder / "missing") + "'", 1},
      {"", 2},
      {"--verify", 2},
      {"--deep" + quoted(), 2},
      {"--verify --sign" + quoted(), 2},
      {"--verify" + quoted() + quoted(), 2},
  };
  for (const auto& [arguments, status] : cases) {
    EXPECT_EQ(run(arguments), status) << arguments;
    EXPECT_EQ(test::readFile(folder / "complaint").empty(), status == 0) << arguments;
  }
}

TEST_F(CodesignProgram, TrustsNothingThatOthersCouldHavePutThere) {
  struct Case {
    const char* name;
    std::function<void(const fs::path& certificates)> spoil;
    const char* complaint;  ///< empty: trusted
    bool asRoot = false;    ///< only root can spoil it so
  };
  using fs::perms;
  const Case cases[] = {
      {"an open file", [](const fs::path& c) { fs::permissions(c / "maker.pem", perms(0666)); },
       "maker.pem can be written by others"},
      {"another group's file",
       [](const fs::path& c) {
         ASSERT_EQ(lchown((c / "maker.pem").c_str(), geteuid(), 65534), 0);
         fs::permissions(c / "maker.pem", perms(0664));
       },
       "maker.pem can be written by others", true},
      {"another user's file",
       [](const fs::path& c) { ASSERT_EQ(lchown((c / "maker.pem").c_str(), 65534, getegid()), 0); },
       "maker.pem belongs to another user", true},
      {"an open folder, sticky", [](const fs::path& c) { fs::permissions(c, perms(01777)); },
       "signing-certificates can be written by others"},
      {"an open folder above", [](const fs::path& c) { fs::permissions(c.parent_path(), perms(0777)); },
       "vantora can be written by others"},
      {"an open folder above, sticky",
       [](const fs::path& c) { fs::permissions(c.parent_path(), perms(01777)); }, ""},
      {"a link for the file",
       [](const fs::path& c) {
         fs::rename(c / "maker.pem", c / "maker");
         fs::create_symlink("maker", c / "maker.pem");
       },
       "maker.pem is a link"},
      {"a link for a folder above",
       [](const fs::path& c) {
         fs::rename(c.parent_path(), c.parent_path().string() + "2");
         fs::create_directory_symlink("vantora2", c.parent_path());
       },
       "vantora is a link"},
      {"no certificate", [](const fs::path& c) { fs::rename(c / "maker.pem", c / "README"); },
       "no maker certificates"},
      {"no folder", [](const fs::path& c) { fs::remove_all(c); }, "no maker certificates"},
  };
  sign();
  for (const Case& c : cases) {
    if (c.asRoot && geteuid() != 0) continue;
    fs::remove_all(folder / "share");
    test::writeFile(certificates / "maker.pem", maker().certificate);
    c.spoil(certificates);
    EXPECT_EQ(run("--verify" + quoted()), *c.complaint == '\0' ? 0 : 1) << c.name;
    EXPECT_THAT(test::readFile(folder / "complaint"), says(c.complaint)) << c.name;
  }
}

TEST_F(CodesignProgram, NeitherEnvironmentNorHomeAddsTrust) {
  sign(makeIdentity());
  EXPECT_EQ(run("--verify" + quoted()), 1);
  const std::string elsewhere = folder / "elsewhere";
  test::writeFile(elsewhere + "/share/vantora/signing-certificates/all.pem", makeIdentity().certificate);
  test::writeFile(elsewhere + "/openssl.cnf", "openssl_conf = missing\n");
  for (const char* name : {"HOME", "XDG_DATA_HOME", "XDG_DATA_DIRS", "VANTORA_SYSTEM_ROOT", "SSL_CERT_DIR"})
    setenv(name, elsewhere.c_str(), 1);
  setenv("OPENSSL_CONF", (elsewhere + "/openssl.cnf").c_str(), 1);
  EXPECT_EQ(run("--verify" + quoted()), 1);
  sign();
  EXPECT_EQ(run("--verify" + quoted()), 0);
}

}  // namespace
