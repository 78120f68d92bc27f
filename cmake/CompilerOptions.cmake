# What every target of the project is compiled with.
add_library(vantora_compile_options INTERFACE)
target_compile_options(
  vantora_compile_options
  INTERFACE -Wall
            -Wextra
            -Wpedantic
            -Wshadow
            -Wconversion
            -Wsign-conversion
            -Wold-style-cast
            -Wnon-virtual-dtor
            -Woverloaded-virtual
            # g++ 12 takes the appending of a text to a literal for an overlap.
            $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>
            # What the oldest macOS does not have is called nowhere.
            $<$<PLATFORM_ID:Darwin>:-Werror=unguarded-availability>
            $<$<BOOL:${VANTORA_WARNINGS_AS_ERRORS}>:-Werror>
            # A message names a source file; where the sources lay is nobody's business.
            -fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=)

# What ships is hardened: checked calls of the C library, guarded stacks, and a program that is placed at random and
# read-only once it is loaded. Not with the sanitizers, which guard the same calls in their own way.
if(CMAKE_BUILD_TYPE STREQUAL "Release" AND NOT VANTORA_SANITIZERS)
  target_compile_options(
    vantora_compile_options INTERFACE -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2 -fstack-protector-strong -fPIE)
  if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
    target_link_options(vantora_compile_options INTERFACE -pie LINKER:-z,relro,-z,now)
  endif()
endif()

if(VANTORA_SANITIZERS)
  add_compile_options(-fsanitize=${VANTORA_SANITIZERS} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${VANTORA_SANITIZERS})
endif()
if(VANTORA_COVERAGE)
  add_compile_options(--coverage)
  add_link_options(--coverage)
endif()

# Most of the time a source takes to compile goes into the same standard headers; where they are precompiled it takes half. A source
# includes what it uses all the same: the builds without (debug, clang, the sanitizers) would not compile it.
if(VANTORA_PRECOMPILED_HEADERS)
  add_library(vantora_standard_headers STATIC ${PROJECT_SOURCE_DIR}/cmake/Empty.cpp)
  target_link_libraries(vantora_standard_headers PRIVATE vantora_compile_options)
  target_precompile_headers(
    vantora_standard_headers
    PRIVATE <algorithm>
            <atomic>
            <chrono>
            <cstdint>
            <functional>
            <map>
            <memory>
            <mutex>
            <optional>
            <string>
            <string_view>
            <thread>
            <utility>
            <vector>)
endif()

# vantora_precompile(<target> <headers' target>): the target's C++ sources find those headers precompiled, where that is asked for.
function(vantora_precompile name headers)
  if(VANTORA_PRECOMPILED_HEADERS)
    target_precompile_headers(${name} REUSE_FROM ${headers})
    get_target_property(sources ${name} SOURCES)
    list(FILTER sources INCLUDE REGEX "\\.mm$")
    set_source_files_properties(${sources} TARGET_DIRECTORY ${name} PROPERTIES SKIP_PRECOMPILE_HEADERS ON)
  endif()
endfunction()

# _vantora_show_headers(<target> <PUBLIC|PRIVATE> <folder>...)
# Headers are included by their path from the root, but a target finds only the folders that are shown to it: each has an include
# directory of its own, made of links to its headers. So an include that climbs or goes sideways does not compile.
function(_vantora_show_headers name visibility)
  foreach(folder IN LISTS ARGN)
    string(REPLACE "/" "-" root ${folder})
    set(root ${PROJECT_BINARY_DIR}/include/${root})
    file(GLOB headers RELATIVE ${PROJECT_SOURCE_DIR} CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${folder}/*.h)
    file(REMOVE_RECURSE ${root})
    file(MAKE_DIRECTORY ${root}/${folder})
    foreach(header IN LISTS headers)
      file(CREATE_LINK ${PROJECT_SOURCE_DIR}/${header} ${root}/${header} SYMBOLIC)
    endforeach()
    target_include_directories(${name} ${visibility} ${root})
  endforeach()
endfunction()

# vantora_library(<name> SOURCES <file>... [FOLDERS <folder>...] [PRIVATE_FOLDERS <folder>...] [LIBS <target>...]
#                 [PRIVATE_LIBS <target>...])
# A floor, or an area of one. FOLDERS (from the root): whose headers it shows to those that link it; the library's own folder when it
# is left out. Those that link it see the FOLDERS of LIBS too, but not those of PRIVATE_LIBS.
function(vantora_library name)
  cmake_parse_arguments(arg "" "" "SOURCES;FOLDERS;PRIVATE_FOLDERS;LIBS;PRIVATE_LIBS" ${ARGN})
  if(NOT arg_FOLDERS)
    file(RELATIVE_PATH arg_FOLDERS ${PROJECT_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR})
  endif()
  add_library(${name} STATIC ${arg_SOURCES})
  _vantora_show_headers(${name} PUBLIC ${arg_FOLDERS})
  _vantora_show_headers(${name} PRIVATE ${arg_PRIVATE_FOLDERS})
  target_link_libraries(${name} PUBLIC vantora_compile_options ${arg_LIBS} PRIVATE ${arg_PRIVATE_LIBS})
  vantora_precompile(${name} vantora_standard_headers)
endfunction()
