# Manual pages. A page belongs to the package that holds what it describes.
set(node_pages qxagent-access.toml.5 qx-container.conf.5 qx-template.toml.5 qxpkg.8 qxquota.8)

file(GLOB pages RELATIVE "${PROJECT_SOURCE_DIR}/docs/man" CONFIGURE_DEPENDS
     "${PROJECT_SOURCE_DIR}/docs/man/*.[1-8]")
foreach(page IN LISTS pages)
  string(REGEX REPLACE ".*\\." "" section "${page}")
  set(component tools)
  if(page IN_LIST node_pages)
    set(component node)
  endif()
  install(FILES "${PROJECT_SOURCE_DIR}/docs/man/${page}"
          DESTINATION "${CMAKE_INSTALL_MANDIR}/man${section}" COMPONENT ${component})
endforeach()
