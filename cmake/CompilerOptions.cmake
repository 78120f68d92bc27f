# What every target of the project is compiled with.
add_library(vantora_compile_options INTERFACE)
target_include_directories(vantora_compile_options INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_options(
  vantora_compile_options
  INTERFACE -Wall
            -Wextra
            -Wpedantic
            -Wshadow
            -Wold-style-cast
            -Wnon-virtual-dtor
            -Woverloaded-virtual
            # g++ 12 takes the appending of a text to a literal for an overlap.
            $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>
            $<$<BOOL:${VANTORA_WARNINGS_AS_ERRORS}>:-Werror>)

if(VANTORA_SANITIZERS)
  add_compile_options(-fsanitize=${VANTORA_SANITIZERS} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${VANTORA_SANITIZERS})
endif()

# vantora_library(<name> SOURCES <file>... [LIBS <target>...])
function(vantora_library name)
  cmake_parse_arguments(arg "" "" "SOURCES;LIBS" ${ARGN})
  add_library(${name} STATIC ${arg_SOURCES})
  target_link_libraries(${name} PUBLIC vantora_compile_options ${arg_LIBS})
endfunction()
