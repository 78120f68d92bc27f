vantora_library(
  vantora_platform
  FOLDERS platform
  PRIVATE_FOLDERS platform/common platform/macos
  SOURCES
    macos/ApplicationRegistry.cpp
    macos/AutoreleasePool.mm
    macos/Bundle.mm
    macos/CodeSignature.cpp
    macos/CoreFoundation.cpp
    macos/DownloadDestination.cpp
    macos/FileTreeCopy.mm
    macos/Folders.mm
    macos/Foundation.mm
    macos/ItemCalls.cpp
    macos/ItemChanges.mm
    macos/LaunchAgent.cpp
    macos/LoadRules.mm
    macos/Metadata.cpp
    macos/Preferences.cpp
    macos/Process.cpp
    macos/PropertyList.mm
    macos/PropertyListReal.cpp
    macos/PropertyListXmlCheck.cpp
    macos/RunLoop.mm
    macos/RunningApplications.mm
    macos/SystemVersion.cpp
    macos/Task.mm
    macos/Thread.cpp
    macos/UrlAuthentication.mm
    macos/UrlDownload.mm
    macos/UrlErrors.mm
    macos/UrlLoading.mm
    macos/UrlRequests.mm
  LIBS Threads::Threads
  PRIVATE_LIBS vantora_platform_common)
target_link_libraries(
  vantora_platform PRIVATE "-framework AppKit" "-framework Foundation" "-framework CoreServices" "-framework CoreFoundation" objc)
