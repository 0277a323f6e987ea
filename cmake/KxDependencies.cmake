# What we build on; docs/dependencies.md says why. In a cross build the host's include folder must stay out of sight:
# header-only libraries come through a folder that links to them alone, GoogleTest from its sources.

find_package(Threads REQUIRED)

if(CMAKE_CROSSCOMPILING)
  set(KX_HOST_INCLUDE "/usr/include" CACHE PATH "Where the host's packages put header-only libraries")
  set(KX_GOOGLETEST_SOURCE "/usr/src/googletest" CACHE PATH "The sources of GoogleTest")

  # kx_header_only(<target> <folder>): an imported target for KX_HOST_INCLUDE/<folder>.
  function(kx_header_only target folder)
    if(NOT EXISTS "${KX_HOST_INCLUDE}/${folder}")
      message(FATAL_ERROR "${KX_HOST_INCLUDE}/${folder} is missing: run scripts/setup-dev")
    endif()
    set(include "${PROJECT_BINARY_DIR}/include/${folder}")
    file(MAKE_DIRECTORY "${include}")
    file(CREATE_LINK "${KX_HOST_INCLUDE}/${folder}" "${include}/${folder}" SYMBOLIC)
    add_library(${target} INTERFACE IMPORTED)
    target_include_directories(${target} SYSTEM INTERFACE "${include}")
  endfunction()

  kx_header_only(nlohmann_json::nlohmann_json nlohmann)
  kx_header_only(CLI11::CLI11 CLI)
else()
  find_package(nlohmann_json REQUIRED)
  find_package(CLI11 REQUIRED)
endif()

if(NOT WIN32)
  find_package(OpenSSL REQUIRED COMPONENTS Crypto)
endif()

set(ZLIB_USE_STATIC_LIBS "${WIN32}")
find_package(ZLIB REQUIRED)
if(CMAKE_CROSSCOMPILING)
  set(KX_TINYXML2_SOURCE "${PROJECT_SOURCE_DIR}/build/sources/tinyxml2" CACHE PATH "The sources of TinyXML2")
  if(NOT EXISTS "${KX_TINYXML2_SOURCE}/tinyxml2.cpp")
    message(FATAL_ERROR "${KX_TINYXML2_SOURCE}/tinyxml2.cpp is missing: run scripts/setup-dev")
  endif()
  set(KX_NEEDS_TINYXML2 OFF) # whoever links an installation of ours
else()
  find_package(tinyxml2 REQUIRED)
  set(KX_NEEDS_TINYXML2 ON)
endif()

# kx_link_tinyxml2(<library>): as an installed one; or with its source, so that an installation of ours has it inside.
function(kx_link_tinyxml2 library)
  if(KX_NEEDS_TINYXML2)
    target_link_libraries(${library} PRIVATE tinyxml2::tinyxml2)
    return()
  endif()
  set(source "${KX_TINYXML2_SOURCE}/tinyxml2.cpp")
  set_source_files_properties("${source}" PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON COMPILE_OPTIONS -w)
  target_sources(${library} PRIVATE "${source}")
  target_include_directories(${library} SYSTEM PRIVATE "${KX_TINYXML2_SOURCE}")
endfunction()

if(KX_BUILD_TESTS AND CMAKE_CROSSCOMPILING)
  set(INSTALL_GTEST OFF)
  add_subdirectory("${KX_GOOGLETEST_SOURCE}" "${PROJECT_BINARY_DIR}/googletest" EXCLUDE_FROM_ALL SYSTEM)
  foreach(library gtest gtest_main gmock)
    target_compile_options(${library} PRIVATE -O0)
  endforeach()
elseif(KX_BUILD_TESTS)
  find_package(GTest REQUIRED)
endif()

# A second opinion for the tests of our expressions, on the platform where a package brings it.
if(KX_BUILD_TESTS AND NOT WIN32)
  find_library(KX_PCRE2_16 pcre2-16 REQUIRED)
endif()

if(KX_BUILD_BENCH AND CMAKE_CROSSCOMPILING)
  set(KX_BENCHMARK_SOURCE "${PROJECT_SOURCE_DIR}/build/sources/benchmark" CACHE PATH "The sources of Google Benchmark")
  if(NOT EXISTS "${KX_BENCHMARK_SOURCE}/src/benchmark_main.cc")
    message(FATAL_ERROR "${KX_BENCHMARK_SOURCE} is missing: run scripts/setup-dev")
  endif()
  file(GLOB benchmark_sources "${KX_BENCHMARK_SOURCE}/src/*.cc")
  add_library(kx_benchmark STATIC EXCLUDE_FROM_ALL ${benchmark_sources})
  target_compile_definitions(kx_benchmark PUBLIC BENCHMARK_STATIC_DEFINE PRIVATE HAVE_STD_REGEX)
  # It takes the system's texts as bytes.
  set_source_files_properties(${benchmark_sources} PROPERTIES COMPILE_OPTIONS "-w;-UUNICODE;-U_UNICODE")
  target_include_directories(kx_benchmark SYSTEM PUBLIC "${KX_BENCHMARK_SOURCE}/include" "${KX_TINYXML2_SOURCE}")
  target_link_libraries(kx_benchmark PRIVATE kx_warnings kx_settings shlwapi)
  set_target_properties(kx_benchmark PROPERTIES UNITY_BUILD OFF)
  add_library(benchmark::benchmark_main ALIAS kx_benchmark)
elseif(KX_BUILD_BENCH)
  find_package(benchmark REQUIRED)
endif()
