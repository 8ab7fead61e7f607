# Language level, warnings and instrumentation, applied to every target of ours through
# qx_target(). Third-party headers come in as system headers and are not judged.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
# Programs find their libraries from where they are themselves, in the build tree as below any prefix:
# both have the same folders. (CMake would give a program of the build tree a path to be replaced when
# it is installed, with an empty element, and such an element means the current folder.)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/${CMAKE_INSTALL_LIBDIR}")
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/lib")
set(CMAKE_BUILD_WITH_INSTALL_RPATH ON)
set(CMAKE_INSTALL_RPATH "\$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
set(QX_LIBRARY_RPATH "\$ORIGIN")

if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "Build type" FORCE)
endif()

# ccache makes rebuilds cheap where it is installed; nothing needs it.
find_program(QX_CCACHE ccache)
if(QX_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_C_COMPILER_LAUNCHER "${QX_CCACHE}")
  set(CMAKE_CXX_COMPILER_LAUNCHER "${QX_CCACHE}")
endif()

add_compile_definitions(_GNU_SOURCE _FILE_OFFSET_BITS=64)
# Calls into libraries are bound once, at the start, and cannot be led elsewhere afterwards; programs
# are loaded at any address; no stack holds instructions.
add_link_options(LINKER:-z,relro,-z,now,-z,noexecstack)
include(CheckPIESupported)
check_pie_supported()
# Libraries name everything that they need; with clang's sanitizers their programs bring some of it.
set(QX_NO_UNDEFINED LINKER:--no-undefined)
if(QX_SANITIZE)
  set(QX_NO_UNDEFINED)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=undefined
                      -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()
if(QX_COVERAGE)
  add_link_options(--coverage)
endif()
if(QX_BUILD_FUZZ)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    message(FATAL_ERROR "QX_BUILD_FUZZ needs clang")
  endif()
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()

# What an overwritten stack or a buffer that is too small must not be used for. qx_target() adds it to
# whatever is not a test: a sanitizer finds the same and more, and replaces some of it.
set(QX_HARDENING)
if(NOT QX_SANITIZE AND NOT QX_BUILD_FUZZ)
  set(QX_HARDENING -fstack-protector-strong -fstack-clash-protection)
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|i.86)$")
    list(APPEND QX_HARDENING -fcf-protection)
  endif()
  # The checked functions of libc need an optimiser, which is told when a size is known.
  list(APPEND QX_HARDENING "$<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>")
endif()

# qx_target(<target>): our warnings, and the repository root as include root.
function(qx_target target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Werror ${QX_HARDENING})
  # g++ 12 sees overlaps in std::string's operator+ that are not there (GCC bug 105651).
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    target_compile_options(${target} PRIVATE $<$<COMPILE_LANGUAGE:CXX>:-Wno-restrict>)
  endif()
  target_include_directories(${target} PRIVATE "${PROJECT_SOURCE_DIR}")
endfunction()

# qx_measured(<target>): counts the lines of this target that are reached, where QX_COVERAGE is on.
function(qx_measured target)
  if(QX_COVERAGE)
    target_compile_options(${target} PRIVATE --coverage -fprofile-abs-path)
  endif()
endfunction()

# qx_install_library(<target>): a shared library that programs of others link. Its file name carries
# the version and its SONAME the interface's number, which changes with every incompatible change of
# platform/; the name without numbers belongs to developers.
set(QX_INTERFACE_NUMBER 0)
function(qx_install_library target)
  set_target_properties(${target} PROPERTIES
    VERSION "${QX_INTERFACE_NUMBER}.${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR}"
    SOVERSION "${QX_INTERFACE_NUMBER}"
    INSTALL_RPATH "${QX_LIBRARY_RPATH}")
  install(TARGETS ${target} EXPORT qxapkg LIBRARY
    DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT node NAMELINK_COMPONENT dev)
endfunction()

# qx_tests(<target> LABELS <label>... [TIMEOUT seconds] [LONG <filter>]): registers the cases of a
# GoogleTest program. Those that LONG matches have the label "long" instead: they take minutes in all,
# so scripts/test runs them only when asked to, and the CI does.
function(qx_tests target)
  cmake_parse_arguments(ARG "" "TIMEOUT;LONG" "LABELS;ENVIRONMENT" ${ARGN})
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 120)
  endif()
  if(QX_COVERAGE)
    # A process that may not write its counters, or finds those of an earlier build, would say so on
    # standard error, which tests compare.
    list(APPEND ARG_ENVIRONMENT GCOV_ERROR_FILE=/dev/null)
  endif()
  if(ARG_ENVIRONMENT)
    set(environment ENVIRONMENT "${ARG_ENVIRONMENT}")
  endif()
  set(properties TIMEOUT ${ARG_TIMEOUT} LABELS "${ARG_LABELS}" ${environment})
  set(discovery DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60)
  if(NOT ARG_LONG)
    gtest_discover_tests(${target} ${discovery} PROPERTIES ${properties})
    return()
  endif()
  gtest_discover_tests(${target} ${discovery} TEST_FILTER "-${ARG_LONG}" PROPERTIES ${properties})
  gtest_discover_tests(${target} ${discovery} TEST_FILTER "${ARG_LONG}" TEST_LIST ${target}_LONG
                       PROPERTIES TIMEOUT ${ARG_TIMEOUT} LABELS long ${environment})
endfunction()
