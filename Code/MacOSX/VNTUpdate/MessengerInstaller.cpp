#include "Code/MacOSX/VNTUpdate/MessengerInstaller.h"

#include "Code/MacOSX/MacMessengerUtilities.h"
#include "Code/MacOSX/VNTUpdate/DownloadGuard.h"
#include "Code/MacOSX/VNTUpdate/UpdateInfoRetrieval.h"
#include "Code/MacOSX/VNTUpdate/UpdateSchedule.h"
#include "runtime/Code/ZRLog.h"

bool MessengerInstaller::downloadAndInstallMessengerApp() {
  const auto info = _retrieval.getUpdateInfo();
  if (!info) {
    zrrt::log(ZRLogLevel::eError, "Unable to retrieve Messenger info");
    return false;
  }
  if (!_schedule.isEnabled()) return false;
  const std::string address = info->messenger.macDownloadUrl.str();
  if (address.empty()) {
    zrrt::logEntry(ZRLogLevel::eInformation, "-[VNTUpdate downloadAndInstallMessengerApp]", nullptr,
                   "MessengerIntegration=\"Not configured\"");
    return false;
  }
  // An archive from an earlier attempt does not make a bad address good.
  if (!mayUse(UrlUse::archive, address)) return false;
  const auto archive = obtainArchive(address);
  return archive && MacMessengerUtilities::unarchiveIntoApplicationsFolder(_fileManager, *archive);
}

std::optional<std::string> MessengerInstaller::obtainArchive(const std::string& address) {
  std::string archive = _settings.tempPath + "/Vantora_Messenger.zip";
  ArchiveStore::Download download;
  switch (_store.fetch(address, archive, download)) {
    case ArchiveStore::Fetched::failed:
      zrrt::log(ZRLogLevel::eError, "Download of Messenger.zip failed");
      return std::nullopt;
    case ArchiveStore::Fetched::wasThere:
      break;
    case ArchiveStore::Fetched::downloaded:
      zrrt::log(ZRLogLevel::eDebug,
                "Download of Messenger.zip complete. Elapsed time = %f secs, Bytes downloaded = %lld",
                download.seconds, static_cast<long long>(download.bytes));
      break;
  }
  return archive;
}
