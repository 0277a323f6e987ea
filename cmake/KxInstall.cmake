# What `cmake --install` puts down: the command, the library and the one to judge with, with their headers, and the two
# ways to find them: find_package(kx_util), with COMPONENTS publish for the latter, and pkg-config (kx_util, kx_publish).
# The headers have a folder of their own: <prefix>/include/kx.

include(CMakePackageConfigHelpers)

# From where pkg-config finds its file back to the prefix, which may be moved.
file(RELATIVE_PATH KX_PC_TO_PREFIX "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
set(KX_CMAKE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/kx_util")
set(KX_HEADER_DIR "${CMAKE_INSTALL_INCLUDEDIR}/kx")

install(TARGETS kx_common kx_util EXPORT kx_util ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}")
if(TARGET kx_util_dll)
  # With what a program links, and kx_util::kx_util_dll.
  install(TARGETS kx_util_dll EXPORT kx_util RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}"
                                             ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}")
endif()
install(TARGETS kx_publish EXPORT kx_publish ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}")
install(EXPORT kx_publish NAMESPACE kx_util:: FILE kx_util-component-publish.cmake DESTINATION "${KX_CMAKE_DIR}")
install(EXPORT kx_util NAMESPACE kx_util:: FILE kx_util-targets.cmake DESTINATION "${KX_CMAKE_DIR}")
if(TARGET kxpolicy)
  install(TARGETS kxpolicy RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT command)
endif()

configure_package_config_file(cmake/kx_util-config.cmake.in kx_util-config.cmake INSTALL_DESTINATION "${KX_CMAKE_DIR}")
write_basic_package_version_file(kx_util-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/kx_util-config.cmake" "${PROJECT_BINARY_DIR}/kx_util-config-version.cmake"
        DESTINATION "${KX_CMAKE_DIR}")

# A static library: whoever links it needs what it links.
if(WIN32)
  list(TRANSFORM KX_WINDOWS_LIBRARIES PREPEND "-l" OUTPUT_VARIABLE libraries)
  list(JOIN libraries " " KX_PC_LIBRARIES)
  string(PREPEND KX_PC_LIBRARIES "-lz ")
else()
  set(KX_PC_REQUIRES "libcrypto zlib tinyxml2")
endif()
foreach(package kx_util kx_publish)
  configure_file(cmake/${package}.pc.in ${package}.pc @ONLY)
  install(FILES "${PROJECT_BINARY_DIR}/${package}.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
endforeach()

install(CODE "set(KX_SOURCE_DIR \"${PROJECT_SOURCE_DIR}\")\nset(KX_HEADER_DIR \"${KX_HEADER_DIR}\")")
install(SCRIPT cmake/InstallHeaders.cmake)

# The C interface: a library that needs nothing else of ours, its one header, and a way of its own to find it, so that who
# uses it alone needs none of the packages above.
install(TARGETS kx_policy EXPORT kx_policy RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}"
                                           LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT library
                                                   NAMELINK_COMPONENT development
                                           ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}")
install(FILES include/kx_policy.h DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
install(EXPORT kx_policy NAMESPACE kx_util:: FILE kx_policy-config.cmake
        DESTINATION "${CMAKE_INSTALL_LIBDIR}/cmake/kx_policy")
write_basic_package_version_file(kx_policy-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/kx_policy-config-version.cmake"
        DESTINATION "${CMAKE_INSTALL_LIBDIR}/cmake/kx_policy")
configure_file(cmake/kx_policy.pc.in kx_policy.pc @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/kx_policy.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
