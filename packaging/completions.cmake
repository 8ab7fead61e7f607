# Completion scripts, printed by the commands themselves. A build for another machine that cannot run
# its programs goes without.
if(CMAKE_CROSSCOMPILING AND NOT CMAKE_CROSSCOMPILING_EMULATOR)
  message(STATUS "No completion scripts: programs of ${CMAKE_SYSTEM_NAME} ${CMAKE_SYSTEM_PROCESSOR} do not run here")
  add_custom_target(completions)
  return()
endif()
set(places
  "bash:${CMAKE_INSTALL_DATADIR}/bash-completion/completions:@"
  "zsh:${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions:_@"
  "fish:${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d:@.fish")
set(scripts)
foreach(target qxa qxfsutil_tool qxpkg qxquota)
  string(REPLACE "_tool" "" command "${target}")
  foreach(place IN LISTS places)
    string(REGEX MATCH "([^:]+):([^:]+):([^:]+)" matched "${place}")
    set(shell "${CMAKE_MATCH_1}")
    set(folder "${CMAKE_MATCH_2}")
    string(REPLACE "@" "${command}" file "${CMAKE_MATCH_3}")
    set(script "${CMAKE_CURRENT_BINARY_DIR}/completions/${shell}/${file}")
    add_custom_command(OUTPUT "${script}"
      COMMAND "${CMAKE_COMMAND}" -E make_directory "completions/${shell}"
      COMMAND ${target} completion ${shell} > "${script}"
      DEPENDS ${target} VERBATIM)
    list(APPEND scripts "${script}")
    install(FILES "${script}" DESTINATION "${folder}" COMPONENT tools)
  endforeach()
endforeach()
add_custom_target(completions ALL DEPENDS ${scripts})
