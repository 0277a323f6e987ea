# kx_embed(<target> <folder> <header> <prefix> <file>...): the bytes of files in `folder`, as they are but for carriage
# returns, in the library `target`: of "report.css" the text is `<prefix>Css`, which `header` declares. The generated
# source is made anew when one of them changes.
function(kx_embed target folder header prefix)
  set(source "#include \"${folder}/${header}\"\n")
  foreach(file IN LISTS ARGN)
    set(path "${PROJECT_SOURCE_DIR}/${folder}/${file}")
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${path}")
    file(READ "${path}" bytes HEX)
    string(REGEX REPLACE "(..)" "0x\\1, " bytes "${bytes}")
    string(REPLACE "0x0d, 0x0a, " "0x0a, " bytes "${bytes}")
    cmake_path(GET file EXTENSION LAST_ONLY extension)  # ".css"
    string(SUBSTRING "${extension}" 1 1 first)
    string(SUBSTRING "${extension}" 2 -1 others)
    string(TOUPPER "${first}" first)
    set(name "${first}${others}")
    string(APPEND source "\nstatic const unsigned char k${name}Bytes[] = {${bytes}};\n"
                         "const std::string_view ${prefix}${name}(reinterpret_cast<const char*>(k${name}Bytes), "
                         "sizeof(k${name}Bytes));\n")
  endforeach()
  cmake_path(GET header STEM stem)
  set(generated "${PROJECT_BINARY_DIR}/embedded/${stem}.cpp")
  file(CONFIGURE OUTPUT "${generated}" CONTENT "${source}" @ONLY)
  set_source_files_properties("${generated}" PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
  target_sources(${target} PRIVATE "${generated}")
endfunction()
