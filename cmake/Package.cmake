# `cpack -G DEB` makes qvpost and libqvcommon-dev. Configure with -DCMAKE_INSTALL_PREFIX=/usr, so that the library goes
# into the directory of the system.
if(NOT PROJECT_IS_TOP_LEVEL)
  return()
endif()
set(QVPOST_MAINTAINER "qvpost developers <maintainers@qvpost.example>"
  CACHE STRING "Who answers for the packages: Name <address>")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT ${QVPOST_MAINTAINER})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_COMPONENTS_ALL program library)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_NAME qvpost)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME libqvcommon-dev)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_DEPENDS "libc6-dev, libstdc++-12-dev | libstdc++-dev")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SUGGESTS "cmake, g++, pkgconf")
if(QVPOST_STATIC)
  set(CPACK_DEBIAN_PROGRAM_PACKAGE_SHLIBDEPS OFF)  # the programs need no shared library
else()
  set(CPACK_DEBIAN_PROGRAM_PACKAGE_SHLIBDEPS ON)
endif()
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package has its own, in the first line of its description
set(CPACK_COMPONENT_PROGRAM_DESCRIPTION "finish the installation of an update
An updater that has unpacked new files starts qvpost and exits. qvpost then
stops the server, renames every new file into its place, runs the setup
script, starts the server again, and notifies the client of the outcome. When
anything fails, every file is put back. qvpost-list makes the list that it
works on, checks it, and mends an update that was cut off.")
set(CPACK_COMPONENT_LIBRARY_DESCRIPTION "C++20 library of logs, processes, files and sockets
The library that qvpost is written with: log streams and error reports,
owned strings, a command-line option parser, option strings, child
processes, threads, signals, users and groups, files, socket options and
addresses. Contains the static library, its headers, a CMake package, a
pkg-config file and an example.")

# The files that Debian requires of every package. EXCLUDE_FROM_ALL: a plain `cmake --install` omits them.
file(STRINGS ${PROJECT_SOURCE_DIR}/CHANGELOG.md release REGEX "^## ${PROJECT_VERSION} ")
string(REGEX MATCH "[0-9]+-[0-9]+-[0-9]+$" release_day "${release}")
if(NOT release_day)
  message(FATAL_ERROR "CHANGELOG.md has no heading \"## ${PROJECT_VERSION} - YYYY-MM-DD\"")
endif()
execute_process(COMMAND date --utc -R -d ${release_day} OUTPUT_VARIABLE release_date
  OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
foreach(component program library)
  string(TOUPPER ${component} upper)
  set(package ${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
  set(doc ${CMAKE_INSTALL_DATAROOTDIR}/doc/${package})
  file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/debian/${package}.changelog @ONLY CONTENT
"@package@ (@PROJECT_VERSION@-@CPACK_DEBIAN_PACKAGE_RELEASE@) stable; urgency=medium

  * Release @PROJECT_VERSION@; what it brings is in changelog.gz.

 -- @QVPOST_MAINTAINER@  @release_date@
")
  install_compressed(${PROJECT_BINARY_DIR}/debian/${package}.changelog ${doc} changelog.Debian ${component}
    EXCLUDE_FROM_ALL)
  install(FILES ${PROJECT_SOURCE_DIR}/cmake/copyright DESTINATION ${doc} COMPONENT ${component} EXCLUDE_FROM_ALL)
endforeach()

# The lintian(1) tags that are overridden, and why.
set(override_program "# The packages come from the makers of the program: there is no request for them to close.
qvpost: initial-upload-closes-no-bugs
")
string(REPLACE qvpost: libqvcommon-dev: override_library ${override_program})
if(QVPOST_STATIC)
  string(APPEND override_program
"# On purpose: qvpost works while files of the system are being replaced and must not need any of them, so it is linked
# statically. A static program that can be loaded at any address is taken for a shared library without dependencies.
qvpost: shared-library-lacks-prerequisites
")
endif()
foreach(component program library)
  string(TOUPPER ${component} upper)
  set(overrides ${PROJECT_BINARY_DIR}/debian/${component}.overrides)
  file(WRITE ${overrides} "${override_${component}}")
  install(FILES ${overrides} DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/lintian/overrides COMPONENT ${component}
    RENAME ${CPACK_DEBIAN_${upper}_PACKAGE_NAME} EXCLUDE_FROM_ALL)
endforeach()

# CMake's own stripping skips archives.
install(CODE "if(CMAKE_INSTALL_DO_STRIP)
  execute_process(COMMAND \"${CMAKE_STRIP}\" --strip-debug --enable-deterministic-archives
    --remove-section=.comment --remove-section=.note
    \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/libqvcommon.a\" COMMAND_ERROR_IS_FATAL ANY)
endif()" COMPONENT library)

include(CPack)
