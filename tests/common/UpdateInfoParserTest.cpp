#include "Code/Common/UpdateInfoParser.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/support/LogCapture.h"
#include "tests/support/ResultMatchers.h"
#include "tests/support/TemporaryFolder.h"

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::Field;
using testing::HasSubstr;
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

UpdateInfoParser parsedWhole() {
  UpdateInfoParser parser;
  ZRString location = "before";
  EXPECT_CODE(parser.parseText(kWhole, location), ZRError::eNoError);
  EXPECT_TRUE(location.isEmpty());
  return parser;
}

auto hasSettings(bool enabled, int minimum, int maximum) {
  return AllOf(Field(&UpdateSettings::enabled, enabled), Field(&UpdateSettings::minDelayInDays, minimum),
               Field(&UpdateSettings::maxDelayInDays, maximum));
}

TEST(UpdateInfoParser, WholeDocument) {
  const UpdateInfoParser parsed = parsedWhole();
  const UpdateInfo& info = parsed.updateInfo();
  EXPECT_TRUE(info.isParsed);
  EXPECT_THAT(info.updaterSettings, hasSettings(false, 2, 9));
  EXPECT_THAT(info.activatorSettings, hasSettings(true, -3, 4));
  EXPECT_EQ(info.windowsDownloadUrlTemplate, "w%d");
  EXPECT_EQ(info.macDownloadUrlTemplate, "m%d");
  ASSERT_THAT(info.activeBuilds, SizeIs(2));
  const ActiveBuild& plain = info.activeBuilds[0];
  EXPECT_EQ(plain.buildNumber, 7750U);
  EXPECT_EQ(plain.macDownloadUrl, "m7750");
  EXPECT_EQ(plain.windowsDownloadUrl, "w7750");
  EXPECT_EQ(plain.macDownloadSize, 99000000U);
  EXPECT_THAT(plain.deltaPackages, SizeIs(0));
  const ActiveBuild& patched = info.activeBuilds[1];
  EXPECT_EQ(patched.macDownloadSize, 4000000000U);
  EXPECT_EQ(patched.windowsDownloadSize, 99000000U);
  EXPECT_THAT(patched.deltaPackages, ElementsAre(Field(&DeltaPackage::fromBuildNumber, 7740),
                                                 AllOf(Field(&DeltaPackage::fromBuildNumber, 7750),
                                                       Field(&DeltaPackage::macDownloadSize, 11),
                                                       Field(&DeltaPackage::windowsDownloadSize, 6))));
  EXPECT_EQ(patched.deltaPackages[0].macDownloadUrl, "");
  EXPECT_EQ(patched.deltaPackages[1].macDownloadUrl, "d");
  EXPECT_EQ(patched.deltaPackages[1].windowsDownloadUrl, "y");
  EXPECT_THAT(info.removeBuilds,
              ElementsAre(AllOf(Field(&BuildRange::fromBuildNumber, 1), Field(&BuildRange::toBuildNumber, 5)),
                          Field(&BuildRange::fromBuildNumber, 0xFFFFFFFF)));
  EXPECT_EQ(info.messenger.macDownloadUrl, "mm");
  EXPECT_EQ(info.messenger.macDownloadSize, 2U);
  EXPECT_EQ(info.messenger.windowsDownloadUrl, "wm");
}

// What documents answer, and how far they are read.
struct DocumentCase {
  const char* name;
  const char* text;
  std::uint32_t code;
  const char* newLocation;
  std::size_t activeBuilds;
  std::size_t removeBuilds;
  int minDelayInDays;
};

#define BUILD R"({"buildNumber":1,"macDownloadUrl":"m","windowsDownloadUrl":"w")"

const DocumentCase kDocuments[] = {
    {"empty object", "{}", ZRError::eNoError, "", 0, 0, -1},
    {"not an object", "[]", ZRError::eNoError, "", 0, 0, -1},
    {"redirect", R"({"newLocation":"https://x","activeBuilds":7})", ZRError::eNoError, "https://x", 0, 0, -1},
    {"empty redirect", R"({"newLocation":""})", ZRError::eNoError, "", 0, 0, -1},
    {"redirect of another type", R"({"newLocation":5})", ZRError::eNoError, "", 0, 0, -1},
    {"settings", R"({"updaterSettings":{"minDelayInDays":5,"maxDelayInDays":6}})", ZRError::eNoError, "", 0,
     0, 5},
    {"enabled is a text", R"({"updaterSettings":{"enabled":"x","minDelayInDays":5,"maxDelayInDays":6}})",
     ZRError::eNoError, "", 0, 0, -1},
    {"half the settings", R"({"updaterSettings":{"enabled":true,"minDelayInDays":5}})", ZRError::eNoError, "",
     0, 0, -1},
    {"keys in another case", R"({"UpdaterSettings":{"minDelayInDays":5,"maxDelayInDays":6}})",
     ZRError::eNoError, "", 0, 0, -1},
    {"builds are a number", R"({"activeBuilds":7})", ZRError::eBadFormat, "", 0, 0, -1},
    {"second build without URL", R"({"activeBuilds":[)" BUILD R"(},{"buildNumber":2}]})", ZRError::eNotFound,
     "", 1, 0, -1},
    {"build number too large", R"({"activeBuilds":[{"buildNumber":4294967295,"macDownloadUrl":""}]})",
     ZRError::eTooLong, "", 0, 0, -1},
    {"deltas are a text", R"({"activeBuilds":[)" BUILD R"(,"deltaPackages":"x"}]})", ZRError::eBadFormat, "",
     0, 0, -1},
    {"delta without Windows size",
     R"({"activeBuilds":[)" BUILD
     R"(,"deltaPackages":[{"fromBuildNumber":1,"macDownloadUrl":"","macDownloadSize":1,"windowsDownloadUrl":""}]}]})",
     ZRError::eNotFound, "", 0, 0, -1},
    {"second range open",
     R"({"removeBuilds":[{"fromBuildNumber":1,"toBuildNumber":2},{"fromBuildNumber":1}]})",
     ZRError::eNotFound, "", 0, 1, -1},
    {"not JSON", "{", ZRError::eBadFormat, "", 0, 0, -1},
};

TEST(UpdateInfoParser, Documents) {
  for (const DocumentCase& row : kDocuments) {
    UpdateInfoParser parser;
    const UpdateInfo& info = parser.updateInfo();
    ZRString newLocation;
    EXPECT_CODE(parser.parseText(row.text, newLocation), row.code) << row.name;
    EXPECT_EQ(newLocation, row.newLocation) << row.name;
    EXPECT_THAT(info.activeBuilds, SizeIs(row.activeBuilds)) << row.name;
    EXPECT_THAT(info.removeBuilds, SizeIs(row.removeBuilds)) << row.name;
    EXPECT_EQ(info.updaterSettings.minDelayInDays, row.minDelayInDays) << row.name;
    EXPECT_EQ(info.isParsed, row.code == ZRError::eNoError && *row.newLocation == '\0') << row.name;
  }
}

TEST(UpdateInfoParser, SaysWhatItCouldNotRead) {
  UpdateInfoParser parser;
  ZRString location;
  const ZRResult null = parser.parseText(nullptr, location);
  EXPECT_CODE(null, ZRError::eBadParameter);
  EXPECT_THAT(null.message().str(), HasSubstr("Parameter check \"text\" failed at parseText, "));
  EXPECT_THAT(parser.parseText("{\"a\":", location).message().str(),
              AllOf(HasSubstr("Failed to parse the JSON value"),
                    HasSubstr("Parsing of the following JSON input failed:\n {\"a\":")));
  EXPECT_THAT(parser.parseText(R"({"activeBuilds":{"a":1}})", location).message().str(),
              HasSubstr(R"(Failed getting active build [0] from parsed JSON [{"activeBuilds":{"a":1}}])"));
  EXPECT_THAT(
      parser.parseText(R"({"removeBuilds":{"a":1}})", location).message().str(),
      HasSubstr(R"(Failed getting remove build range [0] from parsed JSON [{"removeBuilds":{"a":1}}])"));
}

TEST(UpdateInfoParser, OptionalPartsAreReadAsFarAsTheyGo) {
  const test::LogCapture log;
  UpdateInfoParser parser = parsedWhole();
  const UpdateInfo& info = parser.updateInfo();
  ZRString location;
  EXPECT_CODE(parser.parseText(R"({"downloadUrlTemplates":{"windowsDownloadUrlTemplate":"new"},
                                   "VNTMessenger":{"windowsDownloadUrl":"new","windowsDownloadSize":"x"}})",
                               location),
              ZRError::eNoError);
  EXPECT_EQ(info.windowsDownloadUrlTemplate, "new");
  EXPECT_EQ(info.macDownloadUrlTemplate, "m%d");
  EXPECT_EQ(info.messenger.windowsDownloadUrl, "new");
  EXPECT_EQ(info.messenger.windowsDownloadSize, 1U);
  EXPECT_EQ(info.messenger.macDownloadUrl, "mm");
  EXPECT_LOGGED(log, "d: ", "Error returned at parseText, updateinfoparser.cpp:");
}

TEST(UpdateInfoParser, LocalFiles) {
  const test::TemporaryFolder folder;
  const test::LogCapture log;
  const std::string path = folder / "config.json";
  UpdateInfoParser parser;
  EXPECT_CODE(parser.parseFile(path), ZRError::eNotFound);
  EXPECT_FALSE(test::exists(path));
  EXPECT_LOGGED(log,
                "i: ", "ZRResult UpdateInfoParser::parseFile(const ZRString &) - fileName='" + path + "'");

  test::writeFile(path, "");
  EXPECT_CODE(parser.parseFile(path), ZRError::eNoError);
  EXPECT_FALSE(parser.updateInfo().isParsed);
  test::writeFile(path, R"({"newLocation":"https://x"})");
  EXPECT_CODE(parser.parseFile(path), ZRError::eNoError);
  EXPECT_FALSE(parser.updateInfo().isParsed);

  const std::string whole(kWhole);
  test::writeFile(path, whole + std::string(262145 - whole.size(), ' '));
  EXPECT_CODE(parser.parseFile(path), ZRError::ePreconditionFailed);
  test::writeFile(path, whole + std::string(262144 - whole.size(), ' '));
  EXPECT_CODE(parser.parseFile(path), ZRError::eNoError);
  EXPECT_TRUE(parser.updateInfo().isParsed);
  EXPECT_CODE(parser.parseFile(folder.path()), ZRError::eIOError);
}

}  // namespace
