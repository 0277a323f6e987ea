# What goes to others: beside the command its manual and what completes it, and with them Debian packages (preset
# `package`) or an archive for Windows (`package-windows`); scripts/package makes both. The parts are the components of
# KxInstall: `library`, the C interface; `command`; and `development`, which is whatever says nothing else.

set(doc "${CMAKE_INSTALL_DATADIR}/doc")

# Made by the command itself, so not where it cannot run.
if(TARGET kxpolicy AND NOT WIN32)
  set(manual "${PROJECT_BINARY_DIR}/kxpolicy.1.gz")
  add_custom_command(OUTPUT "${manual}" DEPENDS kxpolicy VERBATIM
                     COMMAND sh -c "\"$1\" man | gzip -9n >\"$2\"" sh "$<TARGET_FILE:kxpolicy>" "${manual}")
  add_custom_target(kxpolicy_manual ALL DEPENDS "${manual}")
  install(FILES "${manual}" DESTINATION "${CMAKE_INSTALL_MANDIR}/man1" COMPONENT command)
endif()

# kx_install_completion(<shell> <folder> <name>): where that shell looks.
function(kx_install_completion shell folder name)
  install(FILES "tools/kxpolicy/outline/kxpolicy.${shell}" DESTINATION "${CMAKE_INSTALL_DATADIR}/${folder}"
          RENAME "${name}" COMPONENT command)
endfunction()

if(WIN32)
  kx_install_completion(ps1 kxpolicy kxpolicy-completion.ps1)
else()
  kx_install_completion(bash bash-completion/completions kxpolicy)
  kx_install_completion(fish fish/vendor_completions.d kxpolicy.fish)
  if(CMAKE_INSTALL_PREFIX STREQUAL "/usr") # zsh tells what packages bring from what a machine's owner does
    kx_install_completion(zsh zsh/vendor-completions _kxpolicy)
  else()
    kx_install_completion(zsh zsh/site-functions _kxpolicy)
  endif()
endif()

install(FILES docs/kxpolicy.md docs/authoring.md docs/service.md docs/policy.schema.json docs/target.schema.json docs/cases.schema.json
        DESTINATION "${doc}/kxpolicy" COMPONENT command)
install(DIRECTORY examples/workstation examples/elevation examples/origins examples/signers
        DESTINATION "${doc}/kxpolicy/examples" COMPONENT command)
install(FILES docs/c-interface.md docs/record-formats.md DESTINATION "${doc}/libkx-policy-dev" COMPONENT development)
install(DIRECTORY examples/c examples/python DESTINATION "${doc}/libkx-policy-dev/examples" COMPONENT development
        FILES_MATCHING REGEX "\\.(c|txt|py)$")

# kx_copyright(<file> <package>...): ours, and that of what is compiled in, as the packages that it is from have it.
function(kx_copyright file)
  file(READ "${PROJECT_SOURCE_DIR}/packaging/copyright" text)
  foreach(package IN LISTS ARGN)
    set(theirs "/usr/share/doc/${package}/copyright")
    if(EXISTS "${theirs}")
      file(READ "${theirs}" notice)
      string(APPEND text "\n----------------------------------------------------------------------\n"
                         "Of what is compiled in: ${package}\n\n${notice}")
    else()
      message(WARNING "${theirs} is missing: packages are incomplete")
    endif()
  endforeach()
  file(WRITE "${file}" "${text}")
endfunction()

set(CPACK_PACKAGE_NAME kx-policy)
set(CPACK_PACKAGE_VENDOR "Quennart")
set(CPACK_PACKAGE_CONTACT "Quennart Agent Maintainers <packages@quennart.example>")
set(CPACK_PACKAGE_DIRECTORY "${PROJECT_BINARY_DIR}/packages")
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)
if(WIN32)
  include(KxPackageWindows)
else()
  include(KxPackageDebian)
endif()
include(CPack)
