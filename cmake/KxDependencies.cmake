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

if(KX_BUILD_BENCH)
  find_package(benchmark REQUIRED)
endif()
