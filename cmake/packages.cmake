# cpack in a build folder makes Debian packages, one a component, and one of debug symbols beside each with programs.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME karvo)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR Karvo)
set(CPACK_PACKAGE_CONTACT ${KV_MAINTAINER})
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_BINARY_DIR}/packages)
set(CPACK_COMPONENTS_ALL tools print dispatcher library development)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_DEBUGINFO_PACKAGE ON)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_SOURCE_DIR}/cmake/package_times.cmake)
set(CPACK_POST_BUILD_SCRIPTS ${CMAKE_SOURCE_DIR}/cmake/symbol_package_times.cmake)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

# kv_package(component SECTION section SUMMARY "..." DESCRIPTION "..." [variable value]...)
function(kv_package component section summary description)
  string(TOUPPER ${component} upper)
  set(prefix CPACK_DEBIAN_${upper})
  set(${prefix}_PACKAGE_NAME ${package_${component}} PARENT_SCOPE)
  set(${prefix}_PACKAGE_SECTION ${section} PARENT_SCOPE)
  set(${prefix}_DESCRIPTION "${summary}\n${description}" PARENT_SCOPE)
  set(${prefix}_PACKAGE_PRIORITY optional PARENT_SCOPE)
endfunction()
kv_package(tools utils "reader of Karvo job files"
  "kvjob tells what a job of the Karvo virtual printer holds, checks it, draws its
pages into pictures and PDF files, extracts text, fonts and images, and makes
a sound job of what is left of a damaged one.")
kv_package(print text "PDF files printed through the Karvo driver"
  "kvprint plays PDF files into the driver of the Karvo virtual printer and writes
the job file, or hands it to the dispatcher.
.
The program is linked with MuPDF and therefore under the GNU Affero General
Public License, version 3 or later.")
kv_package(dispatcher utils "dispatcher of the Karvo virtual printer"
  "kvdisp12 takes the jobs of a session's prints, files them in an outbox, and
delivers them as PDF files, to CUPS, or to a program.")
kv_package(library libs "reader of Karvo job files, as a library"
  "libkvjob opens job files of the Karvo virtual printer, checks and recovers
them, walks their records, draws pages, and gives text, fonts and images.")
kv_package(development libdevel "reader of Karvo job files, for development"
  "Header, CMake package, pkg-config file, an example and the description of the
job file, for programs that use libkvjob.")
set(CPACK_DEBIAN_PRINT_PACKAGE_RECOMMENDS karvo-dispatcher)
set(CPACK_DEBIAN_PRINT_PACKAGE_SUGGESTS karvo-tools)
set(CPACK_DEBIAN_DISPATCHER_PACKAGE_RECOMMENDS karvo-tools)
set(CPACK_DEBIAN_DISPATCHER_PACKAGE_SUGGESTS cups)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${CMAKE_SOURCE_DIR}/package/debian/triggers)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libkvjob1 (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_DEVELOPMENT_DEBUGINFO_PACKAGE OFF)
include(CPack)
