# Debian packages, one a component: `cpack --config build/release/CPackConfig.cmake -B DIR`, or the
# target "packages". Libraries that others bring are found by dpkg-shlibdeps.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME qxapkg)
set(CPACK_PACKAGE_VENDOR "qxapkg")
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
# Each package has a summary of its own, the first line of its description below.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${QX_MAINTAINER}")
set(CPACK_DEBIAN_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${CMAKE_LIBRARY_OUTPUT_DIRECTORY}")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
# Whatever the umask of who makes them.
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_COMPONENTS_ALL plugin node tools dev)
set(CPACK_COMPONENT_PLUGIN_DESCRIPTION
  "local package manager of a container host\nThe library that a host agent loads to serve package requests, with the\nchecker of container areas in it.")
set(CPACK_COMPONENT_PLUGIN_DEPENDS node)
set(CPACK_DEBIAN_PLUGIN_PACKAGE_CONTROL_EXTRA "${CMAKE_CURRENT_SOURCE_DIR}/triggers")
set(CPACK_DEBIAN_PLUGIN_PACKAGE_SECTION libs)

set(CPACK_COMPONENT_NODE_DESCRIPTION
  "reference node of a container host\nThe agent's libraries, the template manager, the container manager and the\nnode's own tools, for any plain machine.")
set(CPACK_DEBIAN_NODE_PACKAGE_DEPENDS bubblewrap)
set(CPACK_DEBIAN_NODE_PACKAGE_RECOMMENDS "apt, dnf, mmdebstrap, rpm")
# Packages of others learn from "shlibs" what to depend on.
configure_file(node/shlibs.in shlibs @ONLY)
set(CPACK_DEBIAN_NODE_PACKAGE_CONTROL_EXTRA
  "${CMAKE_CURRENT_SOURCE_DIR}/node/postinst"
  "${CMAKE_CURRENT_SOURCE_DIR}/node/postrm"
  "${CMAKE_CURRENT_SOURCE_DIR}/triggers"
  "${CMAKE_CURRENT_BINARY_DIR}/shlibs")

set(CPACK_COMPONENT_TOOLS_DESCRIPTION
  "commands of a container host's package manager\nqxa makes package requests, qxfsutil indexes, checks and repairs the areas of\ncontainers.")
set(CPACK_COMPONENT_TOOLS_DEPENDS plugin node)

set(CPACK_COMPONENT_DEV_DESCRIPTION
  "development files of a container host's package manager\nHeaders for authors of agents, plug-ins and programs that use the checker,\nwith pkg-config files and a CMake package.")
set(CPACK_COMPONENT_DEV_DEPENDS plugin node)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS libboost-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION devel)
include(CPack)

set(packaged QXAPackageManagerLocal completions manuals policy_files qxa qxagent qxctl qxfsutil_tool qxpkg qxquota qxtt)
add_custom_target(packages
  COMMAND "${CMAKE_CPACK_COMMAND}" --config "${CMAKE_BINARY_DIR}/CPackConfig.cmake"
          -B "${CMAKE_BINARY_DIR}/packages"
  WORKING_DIRECTORY "${CMAKE_BINARY_DIR}" VERBATIM)
add_dependencies(packages ${packaged})
