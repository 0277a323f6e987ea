# Debian packages, one a component: libkx-policy1, libkx-policy-dev, kxpolicy.

# kx_debian(<component> <package> <section> <synopsis> <description>): the description's lines begin without a blank. Each
# package has its copyright, its changes, and what lintian need not say of it.
function(kx_debian component package section synopsis description)
  string(TOUPPER "${component}" name)
  set(CPACK_DEBIAN_${name}_PACKAGE_NAME "${package}" PARENT_SCOPE)
  set(CPACK_DEBIAN_${name}_PACKAGE_SECTION "${section}" PARENT_SCOPE)
  set(CPACK_COMPONENT_${name}_DESCRIPTION "${synopsis}\n${description}" PARENT_SCOPE)

  install(FILES "${PROJECT_BINARY_DIR}/debian/copyright" "${PROJECT_BINARY_DIR}/debian/changelog.Debian.gz"
          DESTINATION "${doc}/${package}" COMPONENT ${component})
  install(FILES packaging/debian/lintian-overrides DESTINATION "${CMAKE_INSTALL_DATADIR}/lintian/overrides"
          RENAME "${package}" COMPONENT ${component})
endfunction()

kx_copyright("${PROJECT_BINARY_DIR}/debian/copyright" nlohmann-json3-dev libcli11-dev)
execute_process(COMMAND gzip -9nc "${PROJECT_SOURCE_DIR}/packaging/debian/changelog"
                OUTPUT_FILE "${PROJECT_BINARY_DIR}/debian/changelog.Debian.gz" COMMAND_ERROR_IS_FATAL ANY)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
             "${PROJECT_SOURCE_DIR}/packaging/debian/changelog" "${PROJECT_SOURCE_DIR}/packaging/copyright")

kx_debian(library libkx-policy1 libs "policy evaluation for privilege management: library"
          "Which policy of an endpoint privilege-management agent applies to what is
about to run, and what it does. Programs in any language ask by ten functions
in C, of policies in an image, in documents, or in force on this machine.")
kx_debian(development libkx-policy-dev libdevel "policy evaluation for privilege management: development files"
          "Which policy of an endpoint privilege-management agent applies to what is
about to run, and what it does.
.
The header of the library in C with examples in C and Python, and the
libraries in C++ that processes of the agent are built with.")
kx_debian(command kxpolicy admin "policies for privilege management: compile, check, evaluate"
          "Compiles policy documents for an endpoint privilege-management agent, finds
what is wrong in them, and says which policy applies to a program and why.
.
It also holds policies against test cases, compares publications, publishes
them on this machine and answers the requests of the agent's library.")

set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each package has its own
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL library development command)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SOURCE kx-policy)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_DEBIAN_LIBRARY_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_DEPENDS ca-certificates)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA "${PROJECT_SOURCE_DIR}/packaging/debian/shlibs"
                                               "${PROJECT_SOURCE_DIR}/packaging/debian/triggers")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "libkx-policy1 (= ${PROJECT_VERSION}-1), libc6-dev, libssl-dev, libtinyxml2-dev, zlib1g-dev")
set(CPACK_DEBIAN_COMMAND_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_COMMAND_PACKAGE_DEPENDS ca-certificates)
set(CPACK_DEBIAN_COMMAND_PACKAGE_CONTROL_EXTRA "${PROJECT_SOURCE_DIR}/packaging/debian/command/postinst"
                                               "${PROJECT_SOURCE_DIR}/packaging/debian/command/prerm"
                                               "${PROJECT_SOURCE_DIR}/packaging/debian/command/postrm")

# Where the manager of services looks for what packages bring.
install(FILES packaging/systemd/kxpolicy.service DESTINATION lib/systemd/system COMPONENT command)
