#include "Code/Common/TrustedServers.h"

#include <gtest/gtest.h>

namespace {

TEST(TrustedServersTest, OnlyHttpsIsSafe) {
  struct Case {
    const char* scheme;
    bool safe;
  };
  const Case cases[] = {{"https", true}, {"HTTPS", true}, {"hTtPs", true},   {nullptr, false},
                        {"", false},     {"http", false}, {"httpss", false}, {"https ", false},
                        {"ftp", false},  {"file", false}, {"xhttps", false}};
  for (const Case& c : cases)
    EXPECT_EQ(isSafeScheme(c.scheme), c.safe) << (c.scheme != nullptr ? c.scheme : "null");
}

TEST(TrustedServersTest, HostsOnTheListAndSubdomainsOfDottedEntries) {
  struct Case {
    const char* host;
    bool trusted;
  };
  const Case cases[] = {{"updates.vantora.example", true},
                        {"UPDATES.Vantora.EXAMPLE", true},
                        {"a.b.vantora.example", true},
                        {"x.korvane-services.example", true},
                        {"downloads.vantora-storage.example", true},
                        {"Archive.korvane-storage.example", true},
                        {nullptr, false},
                        {"", false},
                        {"vantora.example", false},
                        {".vantora.example", false},
                        {"evilvantora.example", false},
                        {"vantora.example.evil.example", false},
                        {"x.downloads.vantora-storage.example", false},
                        {"vantora-storage.example", false},
                        {"updates.vantora.example.", false},
                        {"updates.vantora.example:443", false}};
  for (const Case& c : cases)
    EXPECT_EQ(isTrustedServer(c.host), c.trusted) << (c.host != nullptr ? c.host : "null");
}

}  // namespace
