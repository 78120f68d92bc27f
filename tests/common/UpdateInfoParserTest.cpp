#include "Code/Common/UpdateInfoParser.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/support/LogCapture.h"
#include "tests/support/ResultMatchers.h"
#include "tests/support/TemporaryFolder.h"

namespace {

using testing::ElementsAre;
using testing::FieldsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr const char* kWhole = R"({
  "unknown": [null, {"x": 1e5}],
  "updaterSettings": {"enabled": false, "minDelayInDays": 2, "maxDelayInDays": 9},
  "activatorSettings2": {"minDelayInDays": -3, "maxDelayInDays": 4},
  "downloadUrlTemplates": {"windowsDownloadUrlTemplate": "w%d", "macDownloadUrlTemplate": "m%d"},
  "activeBuilds": [
    {"buildNumber": 7750, "macDownloadUrl": "m7750", "windowsDownloadUrl": "w7750"},
    {"buildNumber": 7760, "macDownloadUrl": "m7760", "macDownloadSize": 4000000000, "windowsDownloadUrl": "w7760",
     "windowsDownloadSize": -1, "deltaPackages": [
       {"fromBuildNumber": 7740, "macDownloadUrl": "", "macDownloadSize": 0, "windowsDownloadUrl": "x",
        "windowsDownloadSize": 5},
       {"fromBuildNumber": 7750, "macDownloadUrl": "d", "macDownloadSize": 11, "windowsDownloadUrl": "y",
        "windowsDownloadSize": 6}]}],
  "removeBuilds": [{"fromBuildNumber": 1, "toBuildNumber": 5}, {"fromBuildNumber": -1, "toBuildNumber": 9}],
  "VNTMessenger": {"windowsDownloadUrl": "wm", "windowsDownloadSize": 1, "macDownloadUrl": "mm", "macDownloadSize": 2}
})";

TEST(UpdateInfoParser, WholeDocumentThenHalfOfOne) {
  UpdateInfoParser parser;
  const UpdateInfo& info = parser.updateInfo();
  ZRString location = "before";
  EXPECT_CODE(parser.parseText(kWhole, location), ZRError::eNoError);
  EXPECT_TRUE(location.isEmpty());
  EXPECT_TRUE(info.isParsed);
  EXPECT_THAT(info.updaterSettings, FieldsAre(false, 2, 9));
  EXPECT_THAT(info.activatorSettings, FieldsAre(true, -3, 4));
  EXPECT_EQ(info.windowsDownloadUrlTemplate, "w%d");
  EXPECT_EQ(info.macDownloadUrlTemplate, "m%d");
  EXPECT_THAT(
      info.activeBuilds,
      ElementsAre(FieldsAre(7750, "w7750", 99000000, "m7750", 99000000, IsEmpty()),
                  FieldsAre(7760, "w7760", 99000000, "m7760", 4000000000,
                            ElementsAre(FieldsAre(7740, "x", 5, "", 0), FieldsAre(7750, "y", 6, "d", 11)))));
  EXPECT_THAT(info.removeBuilds, ElementsAre(FieldsAre(1, 5), FieldsAre(0xFFFFFFFF, 9)));
  EXPECT_THAT(info.messenger, FieldsAre("wm", 1, "mm", 2));

  // Optional parts of another document are read as far as they go, and what stops them is only logged.
  const test::LogCapture log;
  EXPECT_CODE(parser.parseText(R"({"downloadUrlTemplates":{"windowsDownloadUrlTemplate":"new"},
                                   "VNTMessenger":{"windowsDownloadUrl":"new","windowsDownloadSize":"x"}})",
                               location),
              ZRError::eNoError);
  EXPECT_EQ(info.windowsDownloadUrlTemplate, "new");
  EXPECT_EQ(info.macDownloadUrlTemplate, "m%d");
  EXPECT_THAT(info.messenger, FieldsAre("new", 1, "mm", 2));
  EXPECT_LOGGED(log, "d: ", "Error returned at parseText, updateinfoparser.cpp:");
}

/// What a document answers, and how far it is read.
struct DocumentCase {
  const char* name;
  const char* text;
  std::uint32_t code = ZRError::eNoError;
  const char* message = "";
  const char* newLocation = "";
  std::size_t activeBuilds = 0;
  std::size_t removeBuilds = 0;
  int minDelayInDays = -1;
};

#define BUILD R"({"buildNumber":1,"macDownloadUrl":"m","windowsDownloadUrl":"w")"
#define SETTINGS R"("minDelayInDays":5,"maxDelayInDays":6}})"
#define DELTA R"({"fromBuildNumber":1,"macDownloadUrl":"","macDownloadSize":1,"windowsDownloadUrl":""})"

const DocumentCase kDocuments[] = {
    {"redirect", R"({"newLocation":"https://x","activeBuilds":7})", ZRError::eNoError, "", "https://x"},
    {"redirect of another type", R"({"newLocation":5})"},
    {.name = "settings", .text = R"({"updaterSettings":{)" SETTINGS, .minDelayInDays = 5},
    {"enabled is a text", R"({"updaterSettings":{"enabled":"x",)" SETTINGS},
    {"half the settings", R"({"updaterSettings":{"enabled":true,"minDelayInDays":5}})"},
    {"builds are a number", R"({"activeBuilds":7})", ZRError::eBadFormat},
    {"second build without URL", R"({"activeBuilds":[)" BUILD R"(},{"buildNumber":2}]})", ZRError::eNotFound,
     "", "", 1},
    {"deltas are a text", R"({"activeBuilds":[)" BUILD R"(,"deltaPackages":"x"}]})", ZRError::eBadFormat},
    {"delta without Windows size", R"({"activeBuilds":[)" BUILD R"(,"deltaPackages":[)" DELTA "]}]}",
     ZRError::eNotFound},
    {"second range open",
     R"({"removeBuilds":[{"fromBuildNumber":1,"toBuildNumber":2},{"fromBuildNumber":1}]})",
     ZRError::eNotFound, "", "", 0, 1},
    {"builds are an object", R"({"activeBuilds":{"a":1}})", ZRError::eBadFormat,
     R"(Failed getting active build [0] from parsed JSON [{"activeBuilds":{"a":1}}])"},
    {"ranges are an object", R"({"removeBuilds":{"a":1}})", ZRError::eBadFormat,
     R"(Failed getting remove build range [0] from parsed JSON [{"removeBuilds":{"a":1}}])"},
    {"not JSON", "{\"a\":", ZRError::eBadFormat, "Parsing of the following JSON input failed:\n {\"a\":"},
};

TEST(UpdateInfoParser, Documents) {
  for (const DocumentCase& row : kDocuments) {
    UpdateInfoParser parser;
    const UpdateInfo& info = parser.updateInfo();
    ZRString newLocation;
    const ZRResult result = parser.parseText(row.text, newLocation);
    EXPECT_CODE(result, row.code) << row.name;
    EXPECT_THAT(result.message().str(), HasSubstr(row.message)) << row.name;
    EXPECT_EQ(newLocation, row.newLocation) << row.name;
    EXPECT_THAT(info.activeBuilds, SizeIs(row.activeBuilds)) << row.name;
    EXPECT_THAT(info.removeBuilds, SizeIs(row.removeBuilds)) << row.name;
    EXPECT_EQ(info.updaterSettings.minDelayInDays, row.minDelayInDays) << row.name;
    EXPECT_EQ(info.isParsed, row.code == ZRError::eNoError && *row.newLocation == '\0') << row.name;
  }
}

TEST(UpdateInfoParser, LocalFiles) {
  const test::TemporaryFolder folder;
  const std::string path = folder / "config.json";
  const std::string whole(kWhole);
  const test::LogCapture log;
  UpdateInfoParser parser;
  EXPECT_CODE(parser.parseFile(path), ZRError::eNotFound);
  EXPECT_LOGGED(log, "i: ", "UpdateInfoParser::parseFile(const ZRString &) - fileName='" + path + "'");
  const auto parse = [&](const std::string& text) {
    test::writeFile(path, text);
    return parser.parseFile(path);
  };
  EXPECT_CODE(parse(""), ZRError::eNoError);
  EXPECT_CODE(parse(R"({"newLocation":"https://x"})"), ZRError::eNoError);
  EXPECT_CODE(parse(whole + std::string(262145 - whole.size(), ' ')), ZRError::ePreconditionFailed);
  EXPECT_FALSE(parser.updateInfo().isParsed);
  EXPECT_CODE(parse(whole + std::string(262144 - whole.size(), ' ')), ZRError::eNoError);
  EXPECT_TRUE(parser.updateInfo().isParsed);
  EXPECT_CODE(parser.parseFile(folder.path()), ZRError::eIOError);
}

}  // namespace
