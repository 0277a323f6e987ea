# Runs at install time. Copies the exported headers and, of everything else, only what they reach by their includes.

cmake_policy(VERSION 3.25)
set(destination "${CMAKE_INSTALL_PREFIX}/${KX_HEADER_DIR}") # below DESTDIR, if any: file(INSTALL) sees to that
file(GLOB_RECURSE queue RELATIVE "${KX_SOURCE_DIR}/include" "${KX_SOURCE_DIR}/include/*/*.h")
set(seen "")
while(queue)
  list(POP_FRONT queue header)
  if("${header}" IN_LIST seen)
    continue()
  endif()
  list(APPEND seen "${header}")

  set(path "${KX_SOURCE_DIR}/${header}")
  if(EXISTS "${KX_SOURCE_DIR}/include/${header}")
    set(path "${KX_SOURCE_DIR}/include/${header}")
  endif()
  cmake_path(GET header PARENT_PATH folder)
  file(INSTALL "${path}" DESTINATION "${destination}/${folder}")

  file(STRINGS "${path}" lines REGEX "^#include \"")
  foreach(line IN LISTS lines)
    string(REGEX REPLACE "^#include \"([^\"]+)\".*" "\\1" included "${line}")
    list(APPEND queue "${included}")
  endforeach()
endwhile()
