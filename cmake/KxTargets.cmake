# The kinds of targets that the tree is made of. Each takes its sources from a folder; a file named `*_win.cpp` or
# `*_win_test.cpp` belongs to Windows alone, `*_posix.cpp` or `*_posix_test.cpp` to every other platform.
# A folder that has no sources for this platform is no error: its library is empty, its executable is left out.

# kx_sources(<variable> <folder>): the .cpp files in `folder` and below that this platform builds. Most presets compile
# several files as one, which takes a third of the time; that each stands alone is shown by the preset `linux`, and here
# for those files that no other platform builds.
function(kx_sources result folder)
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/${folder}/*.cpp")
  if(WIN32)
    list(FILTER sources EXCLUDE REGEX "_posix(_test)?\\.cpp$")
    set(of_windows "${sources}")
    list(FILTER of_windows INCLUDE REGEX "_win(_test)?\\.cpp$")
    set_source_files_properties(${of_windows} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
  else()
    list(FILTER sources EXCLUDE REGEX "_win(_test)?\\.cpp$")
  endif()
  set(${result} "${sources}" PARENT_SCOPE)
endfunction()

# kx_library(<name> <folder> [IN_DLL] [EXCLUDE <regex>]): a static library. With IN_DLL its objects are for kx_dll too.
function(kx_library name folder)
  cmake_parse_arguments(PARSE_ARGV 2 arg "IN_DLL" "EXCLUDE" "")
  kx_sources(sources "${folder}")
  if(arg_EXCLUDE)
    list(FILTER sources EXCLUDE REGEX "${arg_EXCLUDE}")
  endif()
  if(NOT sources)
    set(sources "${PROJECT_BINARY_DIR}/${name}_empty.cpp")
    file(TOUCH "${sources}")
  endif()
  add_library(${name} STATIC ${sources})
  target_compile_features(${name} PUBLIC cxx_std_20)
  target_link_libraries(${name} PRIVATE "$<BUILD_INTERFACE:kx_warnings>" "$<BUILD_INTERFACE:kx_settings>")
  if(KX_BUILD_FUZZ)
    target_compile_options(${name} PRIVATE -fsanitize=fuzzer-no-link)
  endif()
  if(arg_IN_DLL AND MINGW)
    # Compiled once, with its exports; whoever links the library must not export them as well.
    target_compile_definitions(${name} PRIVATE KX_UTIL_BUILDS_DLL)
    add_custom_command(TARGET ${name} POST_BUILD VERBATIM
                       COMMAND "${CMAKE_OBJCOPY}" --remove-section .drectve "$<TARGET_FILE:${name}>")
  endif()
  add_library(kx_util::${name} ALIAS ${name})
endfunction()

# kx_dll(<name> <file> OF <library>... LINK <library>...): all that is in the libraries as one DLL in
# build/<preset>/bin, which exports what KX_UTIL_API marks. Whoever links it sees the marks as imports.
function(kx_dll name file)
  cmake_parse_arguments(PARSE_ARGV 2 arg "" "" "OF;LINK")
  foreach(library IN LISTS arg_OF)
    if(MINGW)
      list(APPEND all "$<TARGET_OBJECTS:${library}>")
    else()
      get_target_property(sources ${library} SOURCES)
      list(APPEND all ${sources})
    endif()
  endforeach()
  add_library(${name} SHARED ${all})
  set_target_properties(${name} PROPERTIES PREFIX "" OUTPUT_NAME ${file} ARCHIVE_OUTPUT_NAME ${name}
                                           LINKER_LANGUAGE CXX)
  target_compile_definitions(${name} PRIVATE KX_UTIL_BUILDS_DLL INTERFACE KX_UTIL_USES_DLL)
  target_compile_features(${name} PUBLIC cxx_std_20)
  target_include_directories(${name} PUBLIC "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>"
                                            "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>"
                                            "$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/kx>")
  if(MSVC)
    target_compile_options(${name} PRIVATE /wd4251 /wd4275)  # members and bases that are not exported: inline alone
  endif()
  target_link_libraries(${name} PRIVATE kx_warnings kx_settings ${arg_LINK})
  add_library(kx_util::${name} ALIAS ${name})
endfunction()

# kx_c_library(<name> OF <library> SYMBOLS <map> INCLUDE <folder> LINK <library>...): a shared library for programs that are
# not built with us, in C or any other language. It shows the functions of its C header and nothing else: elsewhere than on
# Windows those that <map> lists, with their versions. It stays loaded once it is, since what lives as long as a process
# does lies in it.
function(kx_c_library name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "OF;SYMBOLS;INCLUDE" "LINK")
  add_library(${name} SHARED "$<TARGET_OBJECTS:${arg_OF}>")
  set_target_properties(${name} PROPERTIES LINKER_LANGUAGE CXX VERSION "${PROJECT_VERSION}"
                                           SOVERSION "${PROJECT_VERSION_MAJOR}")
  target_include_directories(${name} PUBLIC "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/${arg_INCLUDE}>"
                                            "$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>")
  target_link_libraries(${name} PRIVATE kx_warnings kx_settings ${arg_LINK})
  if(WIN32)
    set_target_properties(${name} PROPERTIES PREFIX "" IMPORT_PREFIX "lib")
  else()
    set(symbols "${PROJECT_SOURCE_DIR}/${arg_SYMBOLS}")
    set_target_properties(${name} PROPERTIES LINK_DEPENDS "${symbols}")
    target_link_options(${name} PRIVATE "-Wl,--version-script=${symbols}" -Wl,-z,nodelete)
    if(NOT KX_SANITIZE)  # whose functions are in the program
      target_link_options(${name} PRIVATE -Wl,-z,defs)
    endif()
  endif()
  add_library(kx_util::${name} ALIAS ${name})
endfunction()

# kx_executable(<name> SOURCES <file>... LINK <library>...): a program in build/<preset>/bin.
function(kx_executable name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LINK")
  list(TRANSFORM arg_SOURCES PREPEND "${PROJECT_SOURCE_DIR}/" REGEX "^[^/]")
  foreach(source IN LISTS arg_SOURCES)
    if(NOT EXISTS "${source}")
      list(REMOVE_ITEM arg_SOURCES "${source}")
    endif()
  endforeach()
  if(NOT arg_SOURCES)
    message(STATUS "${name}: no sources")
    return()
  endif()
  add_executable(${name} ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE kx_warnings kx_settings ${arg_LINK})
endfunction()

# kx_link_quickly(<target>): for programs that never leave this machine. GNU's linker takes a minute and more for a test
# program of Windows, since it looks for each of an object's sections from the first one on; LLVM's takes a second. The
# compiler knows it there only under the name of the step that it begins linking with.
find_program(KX_LLD ld.lld)
function(kx_link_quickly target)
  if(NOT KX_LLD)
    return()
  elseif(MINGW)
    set(folder "${PROJECT_BINARY_DIR}/quick-linker")
    file(CONFIGURE OUTPUT "${folder}/collect2" CONTENT "#!/bin/sh\nexec '${KX_LLD}' \"$@\"\n")
    file(CHMOD "${folder}/collect2" PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE)
    target_link_options(${target} PRIVATE "-B${folder}/" -fno-use-linker-plugin)
  elseif(NOT MSVC)
    target_link_options(${target} PRIVATE -fuse-ld=lld)
  endif()
endfunction()

# kx_test(<name> <folder> LINK <library>... [ONLY <regex>] [EXACT]): all of `folder` as one GoogleTest program, run at the root
# of the sources. One CTest entry a program, since starting Wine once a case takes too long. The cases' results, by name,
# go to <build>/test-results/<name>.json. EXACT: where exceptions must get through every function; of those that several
# objects have, the quick linker of Windows programs loses what some are unwound by.
function(kx_test name folder)
  cmake_parse_arguments(PARSE_ARGV 2 arg "EXACT" "ONLY" "LINK")
  kx_sources(sources "${folder}")
  if(arg_ONLY)
    list(FILTER sources INCLUDE REGEX "${arg_ONLY}")
  endif()
  kx_executable(${name} SOURCES ${sources} LINK ${arg_LINK} GTest::gmock GTest::gtest_main)
  if(TARGET ${name})
    if(NOT arg_EXACT)
      kx_link_quickly(${name})
    endif()
    if(KX_UNITY_TESTS)
      set_target_properties(${name} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 10)
    endif()
    if(NOT MSVC)
      target_compile_options(${name} PRIVATE -O0)  # what a test spends is mostly spent on compiling it
    endif()
    # Relative, because a Windows program under Wine reads an absolute one as a path on the current drive.
    file(RELATIVE_PATH results "${PROJECT_SOURCE_DIR}" "${PROJECT_BINARY_DIR}/test-results/${name}.json")
    add_test(NAME ${name} COMMAND ${name} "--gtest_output=json:${results}" WORKING_DIRECTORY "${PROJECT_SOURCE_DIR}")
    set_tests_properties(${name} PROPERTIES TIMEOUT 600)
    if(WIN32 AND arg_LINK MATCHES "kxpolicy_core|kx_publish")
      set_tests_properties(${name} PROPERTIES RESOURCE_LOCK agent)  # they publish under the machine's own names
    endif()
  endif()
endfunction()

# kx_made_files(<test> <what> [<script>...]): files that scripts/make-<what> makes on this machine, with other scripts of
# that folder, when `test` is built; it finds their folder, from the root of the sources, in KX_<WHAT>.
function(kx_made_files test what)
  list(TRANSFORM ARGN PREPEND "${PROJECT_SOURCE_DIR}/scripts/" OUTPUT_VARIABLE others)
  set(folder "${PROJECT_BINARY_DIR}/${what}")
  set(script "${PROJECT_SOURCE_DIR}/scripts/make-${what}")
  add_custom_command(OUTPUT "${folder}/complete" COMMAND "${script}" "${folder}" DEPENDS "${script}" ${others} VERBATIM
                     COMMENT "Making ${what} for ${test}")
  add_custom_target(${test}_${what} DEPENDS "${folder}/complete")
  add_dependencies(${test} ${test}_${what})
  file(RELATIVE_PATH path "${PROJECT_SOURCE_DIR}" "${folder}")
  string(TOUPPER "KX_${what}" definition)
  string(REPLACE "-" "_" definition "${definition}")
  target_compile_definitions(${test} PRIVATE "${definition}=\"${path}\"")
endfunction()

# kx_fuzz_targets(<folder> LINK <library>...): every NAME_fuzz.cpp is a libFuzzer program.
function(kx_fuzz_targets folder)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "LINK")
  kx_sources(sources "${folder}")
  foreach(source IN LISTS sources)
    cmake_path(GET source STEM name)
    kx_executable(${name} SOURCES "${source}" LINK ${arg_LINK})
    kx_link_quickly(${name})
    target_compile_options(${name} PRIVATE -O0 -fsanitize=fuzzer-no-link)
    target_link_options(${name} PRIVATE -fsanitize=fuzzer)
  endforeach()
endfunction()

# Stops the configure step when a target of ours escapes the warnings, or the warnings are no errors any more.
function(kx_require_warnings)
  get_target_property(flags kx_warnings INTERFACE_COMPILE_OPTIONS)
  if(NOT "-Werror" IN_LIST flags AND NOT "/WX" IN_LIST flags)
    message(FATAL_ERROR "kx_warnings: warnings must be errors")
  endif()
  get_directory_property(targets DIRECTORY "${PROJECT_SOURCE_DIR}" BUILDSYSTEM_TARGETS)
  foreach(target IN LISTS targets)
    get_target_property(type ${target} TYPE)
    if(type MATCHES "EXECUTABLE|_LIBRARY" AND NOT type STREQUAL "INTERFACE_LIBRARY")
      get_target_property(links ${target} LINK_LIBRARIES)
      if(NOT links MATCHES "kx_warnings")
        message(FATAL_ERROR "${target}: does not link kx_warnings")
      endif()
    endif()
  endforeach()
endfunction()
