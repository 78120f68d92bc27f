#pragma once

#include <utility>

#include "Code/MacOSX/VNTUpdate/AgentPreferences.h"
#include "Code/MacOSX/VNTUpdate/ArchiveStore.h"
#include "Code/MacOSX/VNTUpdate/BuildCleanup.h"
#include "Code/MacOSX/VNTUpdate/BuildInventory.h"
#include "Code/MacOSX/VNTUpdate/DeltaInstaller.h"
#include "Code/MacOSX/VNTUpdate/EndpointPlacement.h"
#include "Code/MacOSX/VNTUpdate/EngineSettings.h"
#include "Code/MacOSX/VNTUpdate/FullInstaller.h"
#include "Code/MacOSX/VNTUpdate/MessengerInstaller.h"
#include "Code/MacOSX/VNTUpdate/UpdateInfoRetrieval.h"
#include "Code/MacOSX/VNTUpdate/UpdateSchedule.h"
#include "platform/FileManager.h"

/// The parts of the engine; each is given those above that it works with. `fileManager` outlives them.
struct EngineParts {
  EngineParts(platform::FileManager& manager, AgentPreferences stored, EngineSettings gathered)
      : fileManager(manager), preferences(std::move(stored)), settings(std::move(gathered)) {}
  EngineParts(const EngineParts&) = delete;
  EngineParts& operator=(const EngineParts&) = delete;

  platform::FileManager& fileManager;
  AgentPreferences preferences;
  const EngineSettings settings;
  UpdateSchedule schedule{preferences, settings};
  UpdateInfoRetrieval retrieval{preferences, schedule, settings};
  BuildInventory inventory{fileManager, settings};
  ArchiveStore store{fileManager, settings};
  EndpointPlacement placement{fileManager, settings, inventory, store};
  FullInstaller fullInstaller{inventory, store, placement};
  DeltaInstaller deltaInstaller{fileManager, settings, inventory, retrieval, store, placement, fullInstaller};
  BuildCleanup cleanup{fileManager, settings, preferences, inventory, store};
  MessengerInstaller messengerInstaller{fileManager, settings, retrieval, schedule, store};
};
