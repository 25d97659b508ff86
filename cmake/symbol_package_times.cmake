# The same for packages of debug symbols, whose files cpack makes only while it packs.
if(DEFINED ENV{SOURCE_DATE_EPOCH})
  foreach(package ${CPACK_PACKAGE_FILES})
    if(package MATCHES "\\.ddeb$")
      set(unpacked ${package}.unpacked)
      execute_process(COMMAND dpkg-deb --raw-extract ${package} ${unpacked} COMMAND_ERROR_IS_FATAL ANY)
      # What is younger than SOURCE_DATE_EPOCH gets that time.
      execute_process(COMMAND dpkg-deb --root-owner-group -Zxz --build ${unpacked} ${package}
                      OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
      file(REMOVE_RECURSE ${unpacked})
    endif()
  endforeach()
endif()
