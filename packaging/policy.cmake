# What Debian wants in every package: whose it is, and what changed.
set(QX_MAINTAINER "The authors of qxapkg <authors@qxapkg.invalid>" CACHE STRING
    "Who answers for the packages: NAME <ADDRESS>; the default's address takes no mail")

# SOURCE_DATE_EPOCH, where it is set, makes the same bytes of the same sources.
string(TIMESTAMP changelog_date "%a, %d %b %Y %H:%M:%S +0000" UTC)
set(changelog "${CMAKE_CURRENT_BINARY_DIR}/changelog")
configure_file(changelog.in "${changelog}" @ONLY)
add_custom_command(OUTPUT "${changelog}.gz"
  COMMAND "${QX_GZIP}" -9n < "${changelog}" > "${changelog}.gz"
  DEPENDS "${changelog}" VERBATIM)
add_custom_target(policy_files ALL DEPENDS "${changelog}.gz")
foreach(component plugin node tools dev)
  install(FILES copyright "${changelog}.gz"
          DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/qxapkg-${component}" COMPONENT ${component})
endforeach()
