# What goes where, by component: tools, print, dispatcher, library, development. Each component is a package
# (cmake/packages.cmake) with documents in a folder of the package's name.
include(GNUInstallDirs)
set(KV_ZSH_DIR ${CMAKE_INSTALL_DATADIR}/zsh/site-functions CACHE STRING "Where zsh looks for completions")
set(package_tools karvo-tools)
set(package_print karvo-print)
set(package_dispatcher karvo-dispatcher)
set(package_library libkvjob1)
set(package_development libkvjob-dev)
set(pages ${CMAKE_BINARY_DIR}/reference)
set(packaging ${CMAKE_SOURCE_DIR}/package)

# Compressed without name and time, so that equal texts give equal files.
function(kv_compressed source target)
  add_custom_command(OUTPUT ${target} COMMAND sh -c "gzip -9nc '${source}' >'${target}'" DEPENDS ${source} VERBATIM)
endfunction()
set(compressed "")
foreach(page kvprint.1 kvjob.1 kvdisp12.1 kv.5)
  kv_compressed(${pages}/man/${page} ${pages}/man/${page}.gz)
  list(APPEND compressed ${pages}/man/${page}.gz)
endforeach()
set(changes ${CMAKE_BINARY_DIR}/changelog)
add_custom_command(OUTPUT ${changes}
  COMMAND ${CMAKE_SOURCE_DIR}/scripts/make-debian-changelog ${CMAKE_SOURCE_DIR}/CHANGELOG.md ${KV_MAINTAINER} ${changes}
  DEPENDS ${CMAKE_SOURCE_DIR}/CHANGELOG.md ${CMAKE_SOURCE_DIR}/scripts/make-debian-changelog VERBATIM)
kv_compressed(${changes} ${changes}.gz)
add_custom_target(install_files ALL DEPENDS ${compressed} ${changes}.gz)
add_dependencies(install_files reference_pages)

function(kv_install_program program component)
  install(TARGETS ${program} DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT ${component})
  install(FILES ${pages}/man/${program}.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT ${component})
  install(FILES ${pages}/bash/${program} DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
    COMPONENT ${component})
  install(FILES ${pages}/zsh/_${program} DESTINATION ${KV_ZSH_DIR} COMPONENT ${component})
endfunction()
kv_install_program(kvjob tools)
kv_install_program(kvprint print)
kv_install_program(kvdisp12 dispatcher)
install(TARGETS kvcups DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/karvo COMPONENT dispatcher)
install(FILES ${pages}/man/kv.5.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man5 COMPONENT tools)

foreach(component tools print dispatcher library development)
  set(documents ${CMAKE_INSTALL_DATADIR}/doc/${package_${component}})
  set(KV_BINARY_LICENCE "")
  if(component STREQUAL print)
    file(READ ${packaging}/debian/copyright.print KV_BINARY_LICENCE)
  endif()
  set(copyright ${CMAKE_BINARY_DIR}/copyright/${component})
  configure_file(${packaging}/debian/copyright.in ${copyright} @ONLY)
  install(FILES ${copyright} RENAME copyright DESTINATION ${documents} COMPONENT ${component})
  install(FILES ${changes}.gz ${CMAKE_SOURCE_DIR}/THIRD-PARTY.md DESTINATION ${documents} COMPONENT ${component})
endforeach()
set(documents ${CMAKE_INSTALL_DATADIR}/doc)
install(FILES README.md SECURITY.md CHANGELOG.md docs/commands.md docs/rendering.md docs/limits.md docs/report.md docs/json.md docs/kvjob.schema.json
  docs/kvprint.schema.json ${CMAKE_BINARY_DIR}/sbom.cdx.json DESTINATION ${documents}/karvo-tools COMPONENT tools)
install(FILES docs/dispatcher.md DESTINATION ${documents}/karvo-dispatcher COMPONENT dispatcher)
install(FILES docs/job-format.md DESTINATION ${documents}/libkvjob-dev COMPONENT development)
install(DIRECTORY docs/example DESTINATION ${documents}/libkvjob-dev COMPONENT development
  FILES_MATCHING PATTERN "*.cpp" PATTERN "CMakeLists.txt")

# What a desktop knows of jobs: their type, what opens them, pictures of them in lists of files.
install(FILES ${packaging}/desktop/karvo.xml DESTINATION ${CMAKE_INSTALL_DATADIR}/mime/packages COMPONENT tools)
foreach(entry applications/karvo-job.desktop thumbnailers/karvo.thumbnailer)
  cmake_path(GET entry FILENAME name)
  cmake_path(GET entry PARENT_PATH folder)
  configure_file(${packaging}/desktop/${name}.in ${CMAKE_BINARY_DIR}/desktop/${name} @ONLY)
  install(FILES ${CMAKE_BINARY_DIR}/desktop/${name} DESTINATION ${CMAKE_INSTALL_DATADIR}/${folder} COMPONENT tools)
endforeach()
install(PROGRAMS ${packaging}/desktop/open-job ${packaging}/desktop/thumbnail
  DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/karvo COMPONENT tools)

# The dispatcher as a service: of a user's session, and of the machine for one user.
foreach(unit user/karvo-dispatcher.service system/karvo-dispatcher@.service)
  cmake_path(GET unit FILENAME name)
  cmake_path(GET unit PARENT_PATH manager)
  configure_file(${packaging}/systemd/${name}.in ${CMAKE_BINARY_DIR}/systemd/${name} @ONLY)
  install(FILES ${CMAKE_BINARY_DIR}/systemd/${name} DESTINATION lib/systemd/${manager} COMPONENT dispatcher)
endforeach()
