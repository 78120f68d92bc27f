#include "Code/MacOSX/VNTUpdate/MessengerInstaller.h"

#include "Code/Common/UpdateInfoParser.h"
#include "Code/MacOSX/MacMessengerUtilities.h"
#include "Code/MacOSX/VNTUpdate/DownloadGuard.h"
#include "Code/MacOSX/VNTUpdate/UpdateInfoRetrieval.h"
#include "Code/MacOSX/VNTUpdate/UpdateSchedule.h"
#include "Code/MacOSX/VNTUpdateDownloader.h"
#include "runtime/Code/ZRLog.h"

MessengerInstaller::MessengerInstaller(UpdateInfoRetrieval& retrieval, const UpdateInfoParser& updateInfo,
                                       const UpdateSchedule& schedule, const std::string& userAgent,
                                       platform::FileManager& fileManager)
    : _retrieval(retrieval),
      _updateInfo(updateInfo),
      _schedule(schedule),
      _userAgent(userAgent),
      _fileManager(fileManager) {}

bool MessengerInstaller::downloadAndInstallMessengerApp() {
  if (!_retrieval.getUpdateInfo()) {
    zrrt::log(ZRLogLevel::eError, "Unable to retrieve Messenger info");
    return false;
  }
  if (!_schedule.isEnabled()) return false;
  const std::string address = _updateInfo.messenger.macDownloadUrl.toPlatformString();
  if (address.empty()) {
    zrrt::logEntry(ZRLogLevel::eInformation, "-[VNTUpdate downloadAndInstallMessengerApp]", nullptr,
                   "MessengerIntegration=\"Not configured\"");
    return false;
  }
  // An archive from an earlier attempt does not make a bad address good.
  if (!mayDownloadFrom(address)) return false;
  const auto archive = obtainArchive(address);
  return archive && MacMessengerUtilities::unarchiveIntoApplicationsFolder(_fileManager, *archive);
}

std::optional<std::string> MessengerInstaller::obtainArchive(const std::string& address) {
  const auto folder = MacMessengerUtilities::getTempFolder(_fileManager);
  if (!folder) return std::nullopt;
  std::string archive = *folder + "/Vantora_Messenger.zip";
  const bool isThere = _fileManager.itemKind(archive) != platform::ItemKind::none;
  if (!isThere && !downloadArchive(address, archive)) return std::nullopt;
  return archive;
}

bool MessengerInstaller::downloadArchive(const std::string& address, const std::string& archive) {
  double seconds = 0;
  std::uint64_t bytes = 0;
  VNTUpdateDownloader downloader;
  const ZRResult result = downloader.download(address, archive, _userAgent, seconds, bytes);
  if (result.code() != ZRError::eNoError) {
    zrrt::log(ZRLogLevel::eError, "Download of Messenger.zip failed");
    return false;
  }
  zrrt::log(ZRLogLevel::eDebug,
            "Download of Messenger.zip complete. Elapsed time = %f secs, Bytes downloaded = %lld", seconds,
            static_cast<long long>(bytes));
  return true;
}
