#include "platform/Url.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>

namespace {

using platform::Url;

TEST(Url, ReadsWhatTheGrammarAllows) {
  struct Case {
    const char* text;
    const char* host;
    std::optional<unsigned> port;
    const char* path;
  };
  const Case kCases[] = {{"HTTPS://A.Example:443/b/c.tar?d=/?#e?/", "A.Example", 443, "/b/c.tar"},
                         {"https://evil.example%2f@a.example/", "a.example", {}, "/"},
                         {"https://[::1]:8443/x", "::1", 8443, "/x"}};
  for (const Case& row : kCases) {
    const auto url = Url::parse(row.text);
    ASSERT_TRUE(url) << row.text;
    EXPECT_STREQ(url->host(), row.host);
    EXPECT_EQ(url->port(), row.port);
    EXPECT_EQ(url->path(), row.path);
  }
}

TEST(Url, RefusesWhatReadersCouldDisagreeAbout) {
  const char* const kTexts[] = {
      "",
      "https://a.example/b c",
      "https://a.example@b@c.example/",
      "https://b\xC3\xBC.example/",
      "https://a.example/%zz",
      "https://a.example:65536/",
      "https://[::1/",
  };
  for (const char* text : kTexts)
    EXPECT_FALSE(Url::parse(text)) << text;
}

TEST(Url, ResolvesReferences) {
  const std::pair<const char*, const char*> kCases[] = {{"g:h", "g:h"},
                                                        {"//g", "http://g"},
                                                        {"", "http://a/b/c/d;p?q"},
                                                        {"../g", "http://a/b/g"},
                                                        {"http:/.//evil/x", "http:/.//evil/x"}};
  const auto base = Url::parse("http://a/b/c/d;p?q");
  for (const auto& [reference, expected] : kCases) {
    const auto resolved = base->resolve(reference);
    EXPECT_EQ(resolved ? resolved->absoluteString() : "(none)", expected) << reference;
  }
  for (const char* reference : {"a b", "//a@b@c/", "/%"})
    EXPECT_FALSE(base->resolve(reference)) << reference;
}

}  // namespace
