# The bill of materials, sbom.cdx.json: what the programs, libraries and DLLs that are passed on are linked with. The
# linker writes a map of what it takes in for each of them; kv_bill(TARGET [HEADERS FILE...]) has it do so, with headers
# that are all of a library.
file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/maps)
set_property(GLOBAL PROPERTY kv_bill_targets "")

function(kv_bill target)
  cmake_parse_arguments(ARG "" "" "HEADERS" ${ARGN})
  set(map ${CMAKE_BINARY_DIR}/maps/${target}.map)
  target_link_options(${target} PRIVATE -Wl,-Map=${map})
  set_property(GLOBAL APPEND PROPERTY kv_bill_targets ${target})
  list(JOIN ARG_HEADERS "=" headers)
  if(headers)
    string(PREPEND headers "=")
  endif()
  set_property(GLOBAL APPEND PROPERTY kv_bill_maps $<TARGET_FILE:${target}>=${map}${headers})
endfunction()

function(kv_bill_of_materials)
  get_property(targets GLOBAL PROPERTY kv_bill_targets)
  get_property(maps GLOBAL PROPERTY kv_bill_maps)
  set(bill ${CMAKE_BINARY_DIR}/sbom.cdx.json)
  add_custom_command(OUTPUT ${bill}
    COMMAND ${CMAKE_SOURCE_DIR}/scripts/make-sbom --version ${PROJECT_VERSION} --out ${bill} ${maps}
    DEPENDS ${targets} ${CMAKE_SOURCE_DIR}/scripts/make-sbom ${CMAKE_SOURCE_DIR}/THIRD-PARTY.md
    VERBATIM)
  add_custom_target(sbom ALL DEPENDS ${bill})
endfunction()
