# What all programs share: their command lines, the version.
set(version_header ${CMAKE_BINARY_DIR}/generated/version.h)
set(write_version ${CMAKE_COMMAND} -DSOURCE=${CMAKE_SOURCE_DIR} -DVERSION=${PROJECT_VERSION} -DHEADER=${version_header}
  -P ${CMAKE_SOURCE_DIR}/cmake/version.cmake)
add_custom_target(write_version COMMAND ${write_version} BYPRODUCTS ${version_header})

# Two libraries are headers alone. The cross-compilers see their folders and nothing else of this system's.
find_path(CLI11_HEADERS CLI/CLI.hpp NO_CMAKE_FIND_ROOT_PATH REQUIRED)
find_path(JSON_HEADERS nlohmann/json.hpp NO_CMAKE_FIND_ROOT_PATH REQUIRED)
if(CMAKE_CROSSCOMPILING)
  file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/headers)
  file(CREATE_LINK ${CLI11_HEADERS}/CLI ${CMAKE_BINARY_DIR}/headers/CLI SYMBOLIC)
  file(CREATE_LINK ${JSON_HEADERS}/nlohmann ${CMAKE_BINARY_DIR}/headers/nlohmann SYMBOLIC)
endif()

add_library(kv_cli STATIC ${CMAKE_SOURCE_DIR}/tools/common/command_line.cpp
  ${CMAKE_SOURCE_DIR}/tools/common/command_text.cpp ${CMAKE_SOURCE_DIR}/tools/common/completions.cpp
  ${CMAKE_SOURCE_DIR}/tools/common/man_page.cpp ${CMAKE_SOURCE_DIR}/tools/common/page_list.cpp
  ${CMAKE_SOURCE_DIR}/tools/common/$<IF:$<BOOL:${WIN32}>,windows/,>streams.cpp
  ${CMAKE_SOURCE_DIR}/tools/common/values.cpp ${CMAKE_SOURCE_DIR}/tools/common/version.cpp)
add_dependencies(kv_cli write_version)
target_include_directories(kv_cli PRIVATE ${CMAKE_BINARY_DIR})
if(CMAKE_CROSSCOMPILING)
  target_include_directories(kv_cli SYSTEM PUBLIC ${CMAKE_BINARY_DIR}/headers)
endif()
