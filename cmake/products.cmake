# What is passed on to users: programs, libraries, DLLs. The linker writes a map of what it takes in, and from the maps
# comes the bill of materials, sbom.cdx.json.
file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/maps)
set_property(GLOBAL PROPERTY kv_products "")

function(kv_product target)
  set(map ${CMAKE_BINARY_DIR}/maps/${target}.map)
  target_link_options(${target} PRIVATE -Wl,-Map=${map})
  set_property(GLOBAL APPEND PROPERTY kv_products ${target})
  set_property(GLOBAL APPEND PROPERTY kv_product_maps $<TARGET_FILE:${target}>=${map})
endfunction()

function(kv_bill_of_materials)
  get_property(products GLOBAL PROPERTY kv_products)
  get_property(maps GLOBAL PROPERTY kv_product_maps)
  set(bill ${CMAKE_BINARY_DIR}/sbom.cdx.json)
  set(headers "")
  if(CLI11_HEADERS)
    set(headers --headers ${CLI11_HEADERS}/CLI/CLI.hpp)
  endif()
  add_custom_command(OUTPUT ${bill}
    COMMAND ${CMAKE_SOURCE_DIR}/scripts/make-sbom --version ${PROJECT_VERSION} --out ${bill} ${headers} ${maps}
    DEPENDS ${products} ${CMAKE_SOURCE_DIR}/scripts/make-sbom ${CMAKE_SOURCE_DIR}/THIRD-PARTY.md
    VERBATIM)
  add_custom_target(sbom ALL DEPENDS ${bill})
endfunction()
