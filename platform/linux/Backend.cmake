find_package(EXPAT REQUIRED)
find_package(SQLite3 REQUIRED)
find_package(CURL REQUIRED) # headers only: the library is loaded at the first request

# Services that this system lacks and that name no system.
target_sources(
  vantora_platform_common
  PRIVATE
    common/PropertyListXml.cpp
    common/RunLoop.cpp)
target_link_libraries(vantora_platform_common PRIVATE EXPAT::EXPAT)

vantora_library(
  vantora_platform
  FOLDERS platform
  PRIVATE_FOLDERS platform/common platform/linux
  SOURCES
    linux/ApplicationDatabase.cpp
    linux/ApplicationRegistry.cpp
    linux/ApplicationScan.cpp
    linux/AutoreleasePool.cpp
    linux/Bundle.cpp
    linux/Bundles.cpp
    linux/CodeSignature.cpp
    linux/DownloadFile.cpp
    linux/FileLock.cpp
    linux/FileTreeCopy.cpp
    linux/Folders.cpp
    linux/HttpCredentials.cpp
    linux/HttpMessage.cpp
    linux/HttpOutcome.cpp
    linux/HttpProxy.cpp
    linux/HttpTransfer.cpp
    linux/ItemCalls.cpp
    linux/ItemChanges.cpp
    linux/ItemMetadata.cpp
    linux/LaunchAgent.cpp
    linux/Metadata.cpp
    linux/Preferences.cpp
    linux/Process.cpp
    linux/PropertyListReal.cpp
    linux/Roots.cpp
    linux/RunningApplications.cpp
    linux/SystemVersion.cpp
    linux/Task.cpp
    linux/Thread.cpp
    linux/UrlDownload.cpp
    linux/UrlExchange.cpp
    linux/UrlLoading.cpp
  LIBS Threads::Threads ${CMAKE_DL_LIBS}
  PRIVATE_LIBS vantora_platform_common SQLite::SQLite3)
target_include_directories(vantora_platform PRIVATE ${CURL_INCLUDE_DIRS})
