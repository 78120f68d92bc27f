# Builds for macOS on x86-64 with clang and lld on a machine that is no Mac. VANTORA_MACOS_SDK: a folder that
# `scripts/make-macos-sdk` has put together. What comes out has not been signed and has run nowhere.
set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_VERSION 17.0.0)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES VANTORA_MACOS_SDK)
set(CMAKE_SYSROOT ${VANTORA_MACOS_SDK})
set(CMAKE_OSX_SYSROOT "")
set(CMAKE_OSX_DEPLOYMENT_TARGET 10.13)
set(CMAKE_FIND_ROOT_PATH ${VANTORA_MACOS_SDK})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Its own C++ library's headers lie beside it. Another release of that library takes other symbols than our stub of it lists.
find_program(VANTORA_CLANG NAMES clang++-16 REQUIRED)
file(REAL_PATH ${VANTORA_CLANG} _clang)
get_filename_component(_tools ${_clang} DIRECTORY)
foreach(_language CXX OBJCXX)
  set(CMAKE_${_language}_COMPILER ${_tools}/clang++)
  set(CMAKE_${_language}_COMPILER_TARGET x86_64-apple-macosx10.13)
  # The compiler's library no longer has the base classes that Boost's hash still derives from.
  set(CMAKE_${_language}_FLAGS_INIT "-D_LIBCPP_ENABLE_CXX17_REMOVED_UNARY_BINARY_FUNCTION")
endforeach()
set(CMAKE_AR ${_tools}/llvm-ar CACHE FILEPATH "")
set(CMAKE_RANLIB ${_tools}/llvm-ranlib CACHE FILEPATH "")
set(CMAKE_INSTALL_NAME_TOOL ${_tools}/llvm-install-name-tool CACHE FILEPATH "")
set(CMAKE_EXE_LINKER_FLAGS_INIT "-fuse-ld=lld")
