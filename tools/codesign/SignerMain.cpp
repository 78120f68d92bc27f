#include <chrono>
#include <exception>
#include <iostream>
#include <string>

#include "tools/codesign/Signer.h"

namespace {

constexpr const char* kUsage =
    "Usage: codesign-signer identity FOLDER NAME   make a key and its certificate, valid for a year\n"
    "       codesign-signer sign FOLDER BUNDLE     sign a bundle, and those in it, with them\n";

void makeIdentity(const std::string& folder, const std::string& name) {
  using namespace std::chrono_literals;
  const auto now = std::chrono::system_clock::now();
  // A little before now, for machines whose clocks are behind.
  codesign::writeIdentity(folder,
                          codesign::makeSigningIdentity(
                              {.commonName = name, .notBefore = now - 1h, .notAfter = now + 365 * 24h}));
}

}  // namespace

int main(int argumentCount, char* arguments[]) {
  const std::string command = argumentCount == 4 ? arguments[1] : "";
  try {
    if (command == "identity") {
      makeIdentity(arguments[2], arguments[3]);
    } else if (command == "sign") {
      codesign::signBundle(arguments[3], codesign::readIdentity(arguments[2]));
    } else {
      std::cerr << kUsage;
      return 2;
    }
    return 0;
  } catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
  }
}
