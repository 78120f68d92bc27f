#include "Code/Common/TrustedServers.h"

#include <gtest/gtest.h>

namespace {

TEST(TrustedServersTest, HttpsOfHostsOnTheListAndSubdomainsOfDottedEntries) {
  struct Case {
    std::string url;
    bool safe, trusted;
  };
  const Case cases[] = {{"https://updates.vantora.example/x", true, true},
                        {"hTtPs://A.b.Vantora.EXAMPLE:443", true, true},
                        {"https://Archive.korvane-storage.example", true, true},
                        {"http://downloads.vantora-storage.example", false, true},
                        {"https://vantora.example", true, false},
                        {"https://evilvantora.example", true, false},
                        {"https://vantora.example.evil.example", true, false},
                        {"https://x.vantora.example@evil.example/", true, false},
                        {"https://x.downloads.vantora-storage.example", true, false},
                        {"https://updates.vantora.example.", true, false},
                        {std::string("https://x.vantora.example\0.evil.example/", 41), false, false},
                        {"https://evil.example\\.vantora.example/x", false, false},
                        {"", false, false}};
  for (const Case& c : cases) {
    const UrlTrust trust = examineUrl(c.url);
    EXPECT_EQ(trust.isSafe, c.safe) << c.url;
    EXPECT_EQ(trust.isTrusted, c.trusted) << c.url;
  }
}

}  // namespace
