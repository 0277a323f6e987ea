# The archive for Windows: the command, the libraries with headers, import libraries and what finds them, and notices.

kx_copyright("${PROJECT_BINARY_DIR}/NOTICES.txt" nlohmann-json3-dev libcli11-dev libtinyxml2-dev zlib1g-dev
             mingw-w64-x86-64-dev gcc-mingw-w64-base)
install(FILES "${PROJECT_BINARY_DIR}/NOTICES.txt" packaging/windows/README.txt DESTINATION .)

set(CPACK_PACKAGE_FILE_NAME "kx-policy-${PROJECT_VERSION}-windows-x86_64")
