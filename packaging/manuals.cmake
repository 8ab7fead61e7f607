# Manual pages, compressed as manual readers expect them. A page belongs to the package that holds what
# it describes.
find_program(QX_GZIP gzip REQUIRED)
set(node_pages qxagent-access.toml.5 qx-container.conf.5 qx-template.toml.5 qxpkg.8 qxquota.8)

file(GLOB pages RELATIVE "${PROJECT_SOURCE_DIR}/docs/man" CONFIGURE_DEPENDS
     "${PROJECT_SOURCE_DIR}/docs/man/*.[1-8]")
set(compressed_pages)
foreach(page IN LISTS pages)
  string(REGEX REPLACE ".*\\." "" section "${page}")
  set(component tools)
  if(page IN_LIST node_pages)
    set(component node)
  endif()
  set(compressed "${CMAKE_CURRENT_BINARY_DIR}/man/${page}.gz")
  add_custom_command(OUTPUT "${compressed}"
    COMMAND "${CMAKE_COMMAND}" -E make_directory "${CMAKE_CURRENT_BINARY_DIR}/man"
    COMMAND "${QX_GZIP}" -9n < "${PROJECT_SOURCE_DIR}/docs/man/${page}" > "${compressed}"
    DEPENDS "${PROJECT_SOURCE_DIR}/docs/man/${page}" VERBATIM)
  list(APPEND compressed_pages "${compressed}")
  install(FILES "${compressed}"
          DESTINATION "${CMAKE_INSTALL_MANDIR}/man${section}" COMPONENT ${component})
endforeach()
add_custom_target(manuals ALL DEPENDS ${compressed_pages})
