#include <exception>
#include <iostream>
#include <string>

#include "tools/codesign/Signer.h"

namespace {

constexpr const char* kUsage =
    "Usage: codesign-signer identity FOLDER NAME   make a key and its certificate, valid for a year\n"
    "       codesign-signer sign FOLDER BUNDLE     sign a bundle, and those in it, with them\n";

}  // namespace

int main(int argumentCount, char* arguments[]) {
  const std::string command = argumentCount == 4 ? arguments[1] : "";
  try {
    if (command == "identity") {
      codesign::writeIdentity(arguments[2], codesign::makeSigningIdentity(arguments[3]));
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
