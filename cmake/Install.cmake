# What `cmake --install` puts where, in two components: `program` (qvpost, qvpost-list, the units and their documents)
# and `library` (qvcommon for the programs of others).
include(CMakePackageConfigHelpers)
include(GNUInstallDirs)

# qvpost goes into libexec/, outside PATH: updaters start it by its full path. Started without arguments in a shell that
# has QV_SYSTEM set, it would run the setup script of that installation.
install(TARGETS qvpost RUNTIME DESTINATION ${CMAKE_INSTALL_LIBEXECDIR} COMPONENT program)
# qvpost-list is also used by people, who check a list or recover an update.
install(TARGETS qvpost-list RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT program)

# systemd reads units below lib/, even if CMAKE_INSTALL_LIBDIR is another directory.
foreach(unit qvpost@.service qvpost-recover@.service)
  configure_file(${PROJECT_SOURCE_DIR}/systemd/${unit}.in ${PROJECT_BINARY_DIR}/systemd/${unit} @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/systemd/${unit} DESTINATION lib/systemd/system COMPONENT program)
endforeach()

find_program(GZIP gzip REQUIRED)
# Manual pages and change logs are compressed without a time stamp, so that two builds are identical.
function(install_compressed file destination name component)
  set(target ${PROJECT_BINARY_DIR}/compressed/${component}/${name}.gz)
  get_filename_component(directory ${target} DIRECTORY)
  file(MAKE_DIRECTORY ${directory})
  execute_process(COMMAND ${GZIP} -9nc ${file} OUTPUT_FILE ${target} COMMAND_ERROR_IS_FATAL ANY)
  set_property(DIRECTORY ${PROJECT_SOURCE_DIR} APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${file})
  install(FILES ${target} DESTINATION ${destination} COMPONENT ${component} ${ARGN})
endfunction()

foreach(page qvpost.8 qvpost-list.1 qvpost-list.5 qvpost-client.7)
  string(REGEX REPLACE ".*\\." "" section ${page})
  install_compressed(${PROJECT_SOURCE_DIR}/man/${page} ${CMAKE_INSTALL_MANDIR}/man${section} ${page} program)
endforeach()

set(program_doc ${CMAKE_INSTALL_DATAROOTDIR}/doc/qvpost)
set(library_doc ${CMAKE_INSTALL_DATAROOTDIR}/doc/libqvcommon-dev)
foreach(document log recipes reliability systemd)
  install(FILES ${PROJECT_SOURCE_DIR}/docs/${document}.md DESTINATION ${program_doc} COMPONENT program OPTIONAL)
endforeach()
install(FILES ${PROJECT_SOURCE_DIR}/docs/library.md DESTINATION ${library_doc} COMPONENT library)
# The example of the library is a project of its own; that of the program is an installation with its updater. Their
# modes are explicit: the modes of a copy of the sources depend on how it was made.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples/library DESTINATION ${library_doc}/examples COMPONENT library
  OPTIONAL PATTERN "build*" EXCLUDE)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples/installation DESTINATION ${program_doc}/examples COMPONENT program
  OPTIONAL REGEX "/(revert|run|server|setup|updater)\\.sh$" PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
install_compressed(${PROJECT_SOURCE_DIR}/CHANGELOG.md ${program_doc} changelog program)
install_compressed(${PROJECT_SOURCE_DIR}/CHANGELOG.md ${library_doc} changelog library)

# The target of the library adds include/qvcommon to the include path, for `#include "common/log/logger.h"`.
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/qvcommon)
install(TARGETS qvcommon EXPORT qvcommon-targets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library
  FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qvcommon COMPONENT library)
install(EXPORT qvcommon-targets NAMESPACE qvcommon:: DESTINATION ${package_dir} COMPONENT library)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/qvcommon-config.cmake.in
  ${PROJECT_BINARY_DIR}/qvcommon-config.cmake INSTALL_DESTINATION ${package_dir} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/qvcommon-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/qvcommon-config.cmake ${PROJECT_BINARY_DIR}/qvcommon-config-version.cmake
  DESTINATION ${package_dir} COMPONENT library)

# The prefix is derived from the location of the .pc file, as CMake derives it from that of its own file.
file(RELATIVE_PATH pc_to_prefix ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" pc_to_prefix ${pc_to_prefix})
get_target_property(definitions qvcommon INTERFACE_COMPILE_DEFINITIONS)
set(pc_definitions "")
if(definitions)
  list(JOIN definitions " -D" pc_definitions)
  set(pc_definitions " -D${pc_definitions}")
endif()
configure_file(${PROJECT_SOURCE_DIR}/cmake/qvcommon.pc.in ${PROJECT_BINARY_DIR}/qvcommon.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/qvcommon.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT library)
