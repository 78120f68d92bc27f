#include "platform/linux/HttpCredentials.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace {

TEST(HttpCredentials, AreFoundInTheFileOrNotAtAll) {
  const std::pair<std::string, std::string> kCases[] = {
      {"MACHINE\tA.Example\r\nLOGIN me\naccount x\npassword \"a \\\"b\\\\\"", "me:a \"b\\"},
      {"# machine a.example login no\nmachine a.example login me # password #1", "me:"},
      {"machine b.example login no password machine machine a.example password p login me", "me:p"},
      {"machine b.example login no\ndefault login any password p", "any:p"},
      {"macdef m\nmachine a.example login no\n\nmachine a.example login me", "me:"},
      {"machine a.example password p", "none"},
      {"machine a.example login me password \"p\nmachine b.example login x password \"other\"", "none"},
      {std::string("machine a.example login m\0e", 27), "none"},
  };
  for (const auto& [netrc, expected] : kCases) {
    const auto found = platform::findCredentials(netrc, "a.example", platform::DefaultEntry::counts);
    EXPECT_EQ(found ? found->userName + ":" + found->password : "none", expected) << netrc;
  }
}

}  // namespace
