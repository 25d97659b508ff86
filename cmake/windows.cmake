# The product: kvgraph12.dll and what comes with it. The compiler's runtime is linked in, so that the process that loads
# the driver needs nothing beside it.
enable_language(RC)
set(version_parts ${PROJECT_VERSION_MAJOR},${PROJECT_VERSION_MINOR},${PROJECT_VERSION_PATCH},0)
add_compile_definitions(UNICODE _UNICODE _WIN32_WINNT=0x0600 WINVER=0x0600)
set(rc_definitions KV_VERSION_PARTS=${version_parts} KV_VERSION=${PROJECT_VERSION})

# What scripts/check-binaries looks for. The compiler has no Control Flow Guard, and the linker writes no load
# configuration. The guard of the stack is platform/windows/stack_guard.cpp.
add_compile_options($<$<COMPILE_LANGUAGE:C,CXX>:-fstack-protector-strong>)
add_link_options(-Wl,--dynamicbase,--nxcompat,--build-id,--no-insert-timestamp
  -Wl,--major-os-version,6,--minor-os-version,0,--major-subsystem-version,6,--minor-subsystem-version,0)
if(CMAKE_SIZEOF_VOID_P EQUAL 8)
  add_link_options(-Wl,--high-entropy-va)
endif()

# A file that is installed: its symbols stand apart, in bin/symbols, under its name and build identifier.
string(REGEX REPLACE "-g\\+\\+.*$" "-" tool_prefix ${CMAKE_CXX_COMPILER})
function(kv_product target)
  set(symbols ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/symbols)
  add_custom_command(TARGET ${target} POST_BUILD
    COMMAND ${CMAKE_COMMAND} -E make_directory ${symbols}
    COMMAND ${tool_prefix}objcopy --only-keep-debug $<TARGET_FILE:${target}> ${symbols}/$<TARGET_FILE_NAME:${target}>.debug
    COMMAND ${tool_prefix}strip --strip-all $<TARGET_FILE:${target}>)
endfunction()

# Libraries that no package has for this target are built from Debian's source.
string(REGEX REPLACE ".*/|-g\\+\\+.*$" "" triplet ${CMAKE_CXX_COMPILER})
function(windows_library target package archive includes)
  execute_process(COMMAND ${CMAKE_SOURCE_DIR}/scripts/build-windows-library ${package} ${triplet}
                  COMMAND_ERROR_IS_FATAL ANY OUTPUT_QUIET)
  set(folder ${CMAKE_SOURCE_DIR}/build/windows-libraries/${triplet})
  add_library(${target} STATIC IMPORTED)
  set_target_properties(${target} PROPERTIES IMPORTED_LOCATION ${folder}/lib/${archive}
    INTERFACE_INCLUDE_DIRECTORIES ${folder}/${includes})
endfunction()
windows_library(JPEG::JPEG libjpeg-turbo libjpeg.a include)

kv_module(platform FOLDER platform/windows)
kv_module(support LINKS kv_platform)
kv_module(settings LINKS kv_support)
kv_module(image LINKS kv_settings JPEG::JPEG)
target_compile_options(kv_image PRIVATE -O3)  # loops over pixels become vector code
kv_module(fonts LINKS kv_support)
target_compile_options(kv_fonts PRIVATE -O3)  # loops over tables become vector code
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  # Vectors are aligned to 16 bytes, and callers on this system to 4: every function sees to its own stack. What
  # setjmp returns to stays as plain as the rest of the driver.
  foreach(module image fonts)
    target_compile_options(kv_${module} PRIVATE -msse2 -mstackrealign)
  endforeach()
  set_source_files_properties(image/jpeg.cpp PROPERTIES COMPILE_OPTIONS -mno-sse SKIP_PRECOMPILE_HEADERS ON)
endif()
kv_module(dispatch LINKS kv_settings)
kv_module(ui LINKS kv_dispatch)
kv_module(record LINKS kv_dispatch kv_fonts kv_image ZLIB::ZLIB)
kv_module(driver LINKS kv_record)

set(common_headers <algorithm> <array> <cstring> <span> <utility> ${CMAKE_SOURCE_DIR}/platform/win32.h)
foreach(module support image fonts)  # the latter two have code generation of their own
  precompile(kv_${module} ${common_headers})
endforeach()
foreach(module platform settings dispatch ui record driver)
  precompile(kv_${module} FROM kv_support)
endforeach()

set(system_libraries advapi32 shell32 ole32 user32)  # others: platform/windows/system_library.cpp
set(engine_imports ${CMAKE_BINARY_DIR}/libgdi32_engine.a)
add_custom_command(OUTPUT ${engine_imports}
  COMMAND ${tool_prefix}dlltool --kill-at --input-def ${CMAKE_SOURCE_DIR}/platform/windows/gdi32_engine.def
          --output-lib ${engine_imports}
  DEPENDS ${CMAKE_SOURCE_DIR}/platform/windows/gdi32_engine.def)
add_custom_target(engine_imports DEPENDS ${engine_imports})

file(GLOB rc_parts CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/resources/*.inc)
set_source_files_properties(resources/kvgraph12.rc resources/kvui12.rc resources/kvres1232.rc PROPERTIES
  COMPILE_DEFINITIONS "${rc_definitions}" OBJECT_DEPENDS "${rc_parts};${CMAKE_SOURCE_DIR}/ui/windows/dialogs.h")
add_library(kvgraph12 SHARED ${CMAKE_SOURCE_DIR}/driver/kvgraph12.def ${CMAKE_SOURCE_DIR}/resources/kvgraph12.rc)
set_target_properties(kvgraph12 PROPERTIES PREFIX "" LINKER_LANGUAGE CXX)
add_dependencies(kvgraph12 engine_imports)
target_link_options(kvgraph12 PRIVATE -static -Wl,--enable-stdcall-fixup -Wl,--kill-at)
target_link_libraries(kvgraph12 PRIVATE -Wl,--whole-archive kv_driver -Wl,--no-whole-archive kv_record
  ${engine_imports} gdi32 ${system_libraries})
kv_bill(kvgraph12)
kv_product(kvgraph12)

file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/ui/windows/*.cpp)
add_library(kvui12 SHARED ${sources} ui/windows/kvui12.def resources/kvui12.rc)
set_target_properties(kvui12 PROPERTIES PREFIX "" LINKER_LANGUAGE CXX)
target_link_options(kvui12 PRIVATE -static -Wl,--enable-stdcall-fixup -Wl,--kill-at)
target_link_libraries(kvui12 PRIVATE kv_ui gdi32 ${system_libraries})
kv_bill(kvui12)
kv_product(kvui12)

add_library(kvres1232 SHARED ${CMAKE_SOURCE_DIR}/resources/kvres1232.rc)
set_target_properties(kvres1232 PROPERTIES PREFIX "" LINKER_LANGUAGE CXX)
target_link_options(kvres1232 PRIVATE -nostdlib -s -Wl,--entry=0)  # data alone

option(KV_PROGRAMS "The programs that drive the DLL, and the dispatcher" OFF)
if(KV_PROGRAMS)
  link_libraries(-static)
  windows_library(SQLite::SQLite3 sqlite3 libsqlite3.a include)
  kv_module(dispatcher LINKS kv_dispatch SQLite::SQLite3)
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/dispatcher/windows/*.cpp)
  target_sources(kv_dispatcher PRIVATE ${sources})
  include(cmake/tools.cmake)
  add_subdirectory(tools/kvdisp12)
  kv_bill(kvdisp12 HEADERS ${CLI11_HEADERS}/CLI/CLI.hpp ${JSON_HEADERS}/nlohmann/json.hpp)
  add_subdirectory(tools/kvsetup)
  kv_bill(kvsetup HEADERS ${CLI11_HEADERS}/CLI/CLI.hpp)

  # What is not installed.
  add_compile_options(-fno-stack-protector)
  add_link_options(-s)
  windows_library(Freetype::Freetype freetype libfreetype.a include/freetype2)
  kv_module(engine LINKS Freetype::Freetype)
  target_sources(kv_engine PRIVATE ${CMAKE_SOURCE_DIR}/platform/windows_engine/driver_module.cpp)
  target_compile_definitions(kv_engine PUBLIC KV_ENGINE_SIDE)
  kv_module(scenes FOLDER tests/scenes LINKS kv_engine)
  set(BUILD_GMOCK OFF)
  set(INSTALL_GTEST OFF)
  add_subdirectory(/usr/src/googletest googletest EXCLUDE_FROM_ALL)
  foreach(library gtest gtest_main)
    target_compile_options(${library} PRIVATE -w)
  endforeach()
  add_executable(print_scenes tests/windows/print_scenes.cpp)
  target_link_libraries(print_scenes kv_scenes)
  add_library(entry_library SHARED tests/windows/entry_library.cpp tests/windows/entry_library.rc)
  set_target_properties(entry_library PROPERTIES PREFIX "")
  add_executable(test_dll tests/windows/dll_test.cpp tests/windows/faults_test.cpp)
  add_dependencies(test_dll entry_library)
  target_link_libraries(test_dll kv_scenes gtest_main)
  add_executable(test_printer tests/windows/printer_test.cpp)
  target_link_libraries(test_printer winspool gtest_main)
  add_executable(test_system tests/windows/system_test.cpp)
  # The name that an import of MessageBoxW has.
  set(message_box $<IF:$<EQUAL:${CMAKE_SIZEOF_VOID_P},8>,__imp_MessageBoxW,__imp__MessageBoxW@16>)
  target_compile_definitions(test_system PRIVATE KV_MESSAGE_BOX="${message_box}")
  target_link_libraries(test_system kv_dispatch ${system_libraries} gtest)
endif()
kv_bill_of_materials()
