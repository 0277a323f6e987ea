# How every file of ours is compiled: the language, the warnings, the sanitizers.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 99)
set(CMAKE_C_STANDARD_REQUIRED ON)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/bin")

# A second build is short, also in another copy of the sources: paths are hashed relative to their root. What a file
# includes is learnt from the compiler, so that a first build does not preprocess everything twice.
find_program(CCACHE ccache)
if(CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER
      "${CMAKE_COMMAND}" -E env "CCACHE_BASEDIR=${PROJECT_SOURCE_DIR}" CCACHE_NOHASHDIR=1 CCACHE_DEPEND=1
      CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime "${CCACHE}")
endif()

add_library(kx_warnings INTERFACE)
if(MSVC)
  target_compile_options(kx_warnings INTERFACE /W4 /WX /permissive- /utf-8 /Zc:__cplusplus)
else()
  target_compile_options(
    kx_warnings INTERFACE -Werror -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion
                          "$<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast;-Wnon-virtual-dtor;-Woverloaded-virtual>")
  # Where several files are compiled as one, a name of one file would seem to hide that of another, and what is a file's
  # own to be a header's.
  set(is_unity $<BOOL:$<TARGET_PROPERTY:UNITY_BUILD>>)
  set(is_gnu $<CXX_COMPILER_ID:GNU>)
  target_compile_options(
    kx_warnings INTERFACE $<$<NOT:${is_unity}>:-Wshadow>
                          "$<$<AND:$<COMPILE_LANGUAGE:CXX>,${is_unity},${is_gnu}>:-Wshadow=local;-Wno-subobject-linkage>")
endif()

# Settings that are not warnings, but hold for all of our targets as well.
add_library(kx_settings INTERFACE)
if(WIN32)
  target_compile_definitions(kx_settings INTERFACE UNICODE _UNICODE NOMINMAX WIN32_LEAN_AND_MEAN _WIN32_WINNT=0x0A00)
endif()
if(MINGW)
  # GCC takes its own copy of an inline function for the one that is linked, and by that which registers it leaves alone:
  # on Windows the linker takes another file's copy, which may not. Searches for texts have failed by that.
  add_compile_options(-fno-ipa-ra)
  # Several files compiled as one have more sections than the older form of object files has room for.
  target_compile_options(kx_settings INTERFACE -Wa,-mbig-obj)
  # An executable runs alone, without the compiler's DLLs beside it.
  target_link_options(kx_settings INTERFACE -static)
endif()
if(KX_SANITIZE)
  set(sanitize "-fsanitize=${KX_SANITIZE}")
  target_compile_options(kx_settings INTERFACE ${sanitize} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(kx_settings INTERFACE ${sanitize})
endif()
