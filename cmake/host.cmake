# The host build: the driver as a library over platform/host, the tools, the tests, the benchmarks.
find_package(Threads REQUIRED)
find_package(GTest REQUIRED)
find_package(PkgConfig REQUIRED)
find_package(Freetype REQUIRED)
find_package(JPEG REQUIRED)
find_package(PNG REQUIRED)
find_package(Fontconfig REQUIRED)

kv_module(platform FOLDER platform/host LINKS Threads::Threads)
kv_module(support LINKS kv_platform)
kv_module(settings LINKS kv_support)
kv_module(image LINKS kv_settings JPEG::JPEG)
target_compile_options(kv_image PRIVATE -O3)  # loops over pixels become vector code
kv_module(fonts LINKS kv_support)
target_compile_options(kv_fonts PRIVATE -O3)  # loops over tables become vector code
kv_module(dispatch LINKS kv_settings)
kv_module(ui LINKS kv_dispatch)
kv_module(record LINKS kv_dispatch kv_fonts kv_image ZLIB::ZLIB)
kv_module(driver LINKS kv_record)
kv_module(engine LINKS kv_driver Freetype::Freetype)
target_sources(kv_engine PRIVATE ${CMAKE_SOURCE_DIR}/platform/host_engine/driver_module.cpp)
# The driver calls the engine's services as the engine calls the driver's hooks.
target_link_libraries(kv_record PUBLIC kv_engine)

# The reader of jobs shares no code with the driver.
pkg_check_modules(CAIRO REQUIRED IMPORTED_TARGET cairo-ft cairo-pdf)
find_package(nlohmann_json REQUIRED)
kv_module(reader LINKS ZLIB::ZLIB JPEG::JPEG nlohmann_json::nlohmann_json)
kv_module(drawing LINKS kv_reader PNG::PNG Freetype::Freetype Fontconfig::Fontconfig PkgConfig::CAIRO)
kv_module(report LINKS kv_drawing)
set(page ${CMAKE_SOURCE_DIR}/report/page)
set(report_script ${CMAKE_BINARY_DIR}/generated/report.js)
set(report_files ${page}/report.html ${page}/report.css ${report_script})
set(script_parts base.js pages.js records.js search.js sections.js frame.js)
list(TRANSFORM script_parts PREPEND ${page}/)
set(report_page ${CMAKE_BINARY_DIR}/generated/report_page.h)
add_custom_command(OUTPUT ${report_page} ${report_script} VERBATIM
  COMMAND ${CMAKE_COMMAND} -DSCRIPT=${report_script} "-DPARTS=${script_parts}" -P ${CMAKE_SOURCE_DIR}/cmake/script.cmake
  COMMAND ${CMAKE_COMMAND} -DHEADER=${report_page} "-DFILES=${report_files}" -P ${CMAKE_SOURCE_DIR}/cmake/embed.cmake
  DEPENDS ${page}/report.html ${page}/report.css ${script_parts} ${CMAKE_SOURCE_DIR}/cmake/embed.cmake
    ${CMAKE_SOURCE_DIR}/cmake/script.cmake)
target_sources(kv_report PRIVATE ${report_page})
target_include_directories(kv_report PRIVATE ${CMAKE_BINARY_DIR})
# MuPDF is under the AGPL: it is linked into the programs that print and compare PDF files, which are no part of the
# driver.
set(MUPDF mupdf mupdf-third freetype harfbuzz-subset harfbuzz jbig2dec jpeg openjp2 mujs gumbo ZLIB::ZLIB m)
pkg_check_modules(HARFBUZZ REQUIRED IMPORTED_TARGET harfbuzz-subset)
kv_module(printhost LINKS kv_engine Fontconfig::Fontconfig PkgConfig::HARFBUZZ Freetype::Freetype ${MUPDF})
# Its messages are those of the document that is printed; the function is there whether or not other parts are asked for.
target_link_options(kv_printhost INTERFACE -Wl,--wrap=jpeg_std_error,--undefined=__wrap_jpeg_std_error)
find_package(SQLite3 REQUIRED)
pkg_check_modules(SYSTEMD REQUIRED IMPORTED_TARGET libsystemd)
find_package(Cups REQUIRED)
kv_module(dispatcher LINKS kv_dispatch SQLite::SQLite3 PkgConfig::SYSTEMD)
file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/dispatcher/host/*.cpp)
target_sources(kv_dispatcher PRIVATE ${sources})

include(cmake/tools.cmake)
add_library(kv_output STATIC tools/common/output_file.cpp)
target_link_libraries(kv_output kv_cli)
add_subdirectory(library)
add_subdirectory(tools/kvjob)
add_subdirectory(tools/kvprint)
add_subdirectory(tools/kvdisp12)
add_subdirectory(tools/kvcups)
add_subdirectory(tools/fidelity)
add_subdirectory(tools/reference)
kv_bill(kvjob_library)
kv_bill(kvjob HEADERS ${CLI11_HEADERS}/CLI/CLI.hpp ${JSON_HEADERS}/nlohmann/json.hpp)
kv_bill(kvdisp12 HEADERS ${CLI11_HEADERS}/CLI/CLI.hpp ${JSON_HEADERS}/nlohmann/json.hpp)
kv_bill(kvcups)
kv_bill(kvprint HEADERS ${CLI11_HEADERS}/CLI/CLI.hpp ${JSON_HEADERS}/nlohmann/json.hpp)
kv_bill(fidelity HEADERS ${CLI11_HEADERS}/CLI/CLI.hpp)
kv_bill_of_materials()
add_subdirectory(bench)

# tests/<module>/*.cpp makes test_<module>, run by CTest case by case.
enable_testing()
include(GoogleTest)
kv_module(test_common FOLDER tests/common LINKS kv_engine kv_reader)
target_compile_definitions(kv_test_common PRIVATE KV_BIN_DIR="${CMAKE_RUNTIME_OUTPUT_DIRECTORY}")
kv_module(scenes FOLDER tests/scenes LINKS kv_engine)
set(test_headers <gtest/gtest.h> <algorithm> <array> <cstring> <filesystem> <fstream> <functional> <map> <memory> <sstream>
  <string> <vector> ${CMAKE_SOURCE_DIR}/platform/win32.h)
function(kv_tests module)
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/tests/${module}/*.cpp)
  if(sources)
    add_executable(test_${module} ${sources})
    target_link_libraries(test_${module} ${ARGN} GTest::gtest_main)
    target_compile_definitions(test_${module} PRIVATE KV_BIN_DIR="${CMAKE_RUNTIME_OUTPUT_DIRECTORY}")
    if(KV_SANITIZE)
      target_compile_options(test_${module} PRIVATE -O0)  # half the time to compile; what they test is optimised
    endif()
    if(module STREQUAL platform)
      precompile(test_platform ${test_headers})
    else()
      precompile(test_${module} FROM test_platform)
    endif()
    gtest_discover_tests(test_${module} TEST_PREFIX ${module}/ DISCOVERY_TIMEOUT 60)
  endif()
endfunction()
kv_tests(platform kv_test_common)
kv_tests(support kv_test_common)
kv_tests(settings kv_test_common)
kv_tests(image kv_test_common JPEG::JPEG)
kv_tests(fonts kv_test_common Freetype::Freetype)
# What scripts/check-fonts runs.
add_executable(check_fonts EXCLUDE_FROM_ALL tests/fonts/check/main.cpp tests/fonts/freetype_names.cpp)
target_link_libraries(check_fonts kv_test_common Freetype::Freetype)
kv_tests(dispatch kv_test_common)
kv_tests(ui kv_ui kv_test_common)
kv_tests(record kv_test_common)
kv_tests(driver kv_test_common kv_scenes)
set_source_files_properties(${CMAKE_SOURCE_DIR}/tests/driver/worked_example_test.cpp PROPERTIES
  COMPILE_DEFINITIONS KV_DOCS_DIR="${CMAKE_SOURCE_DIR}/docs")
kv_tests(engine kv_test_common)
kv_tests(reader kv_test_common)
kv_tests(drawing kv_drawing kv_test_common)
kv_tests(report kv_report kv_test_common)
# What scripts/test-report runs.
add_executable(report_jobs EXCLUDE_FROM_ALL tests/report/jobs/main.cpp)
target_link_libraries(report_jobs kv_test_common)
kv_tests(library kvjob_library kv_test_common)
target_compile_definitions(test_library PRIVATE KV_DOCS_DIR="${CMAKE_SOURCE_DIR}/docs" KV_BUILD_DIR="${CMAKE_BINARY_DIR}"
  KV_CMAKE="${CMAKE_COMMAND}" KV_CXX="${CMAKE_CXX_COMPILER}"
  KV_FLAGS="$<$<BOOL:${KV_SANITIZE}>:-fsanitize=address$<COMMA>undefined>")  # as the library that they link with
kv_tests(model kv_drawing kv_test_common)
kv_tests(printhost kv_printhost kv_test_common)
kv_tests(dispatcher kv_dispatcher kv_test_common Cups::Cups)
kv_tests(regressions kv_dispatcher kv_printhost kv_test_common)
kv_tests(fidelity fidelity_score)
kv_tests(tools kv_output kvprint_options kvjob_options kvdisp12_options kv_printhost kv_test_common PNG::PNG nlohmann_json::nlohmann_json)
foreach(module drawing printhost dispatcher regressions tools)
  add_dependencies(test_${module} kvjob kvprint kvdisp12 kvcups)  # they run the programs
endforeach()
add_dependencies(test_tools fidelity)
target_compile_definitions(test_tools PRIVATE KV_VERSION="${PROJECT_VERSION}" KV_SOURCE_DIR="${CMAKE_SOURCE_DIR}")

# What tests/windows compares the DLL's jobs with.
add_executable(host_scenes tests/windows/host_scenes.cpp)
target_link_libraries(host_scenes kv_scenes)

# tests/fuzz/<name>_fuzz.cpp makes the target <name> of fuzz_replay, which needs no fuzzer, and with KV_FUZZ <name>_fuzz.
# tests/fuzz/corpus/<name> and tests/regressions/<what>.<name> are replayed.
add_executable(fuzz_replay tests/fuzz/replay.cpp)
kv_module(fuzz FOLDER tests/fuzz/common LINKS kv_drawing kv_ui kv_printhost kv_dispatcher kv_test_common GTest::gtest JPEG::JPEG)
# The engine's enumeration of paths, so that a target can hand out blocks that no engine makes.
target_link_options(kv_fuzz PUBLIC
  -Wl,--wrap=PATHOBJ_vEnumStart,--wrap=PATHOBJ_bEnum,--wrap=PATHOBJ_vGetBounds,-u,__wrap_PATHOBJ_bEnum)
file(GLOB fuzz_sources CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/tests/fuzz/*_fuzz.cpp)
set(fuzz_table "")
foreach(source ${fuzz_sources})
  get_filename_component(target ${source} NAME_WE)
  string(REGEX REPLACE "_fuzz$" "" name ${target})
  add_library(fuzz_target_${name} OBJECT ${source})
  target_compile_definitions(fuzz_target_${name} PRIVATE LLVMFuzzerTestOneInput=fuzz_${name})
  target_link_libraries(fuzz_target_${name} kv_fuzz)
  target_link_libraries(fuzz_replay fuzz_target_${name})
  string(APPEND fuzz_table "TARGET(${name})\n")
  file(GLOB regressions CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/tests/regressions/*.${name})
  add_test(NAME fuzz/${name} COMMAND fuzz_replay ${name} ${CMAKE_SOURCE_DIR}/tests/fuzz/corpus/${name} ${regressions})
  if(KV_FUZZ)
    add_executable(${target} ${source})
    target_link_libraries(${target} kv_fuzz)
    target_link_options(${target} PRIVATE -fsanitize=fuzzer)
  endif()
endforeach()
file(GENERATE OUTPUT ${CMAKE_BINARY_DIR}/generated/fuzz_targets.h CONTENT "${fuzz_table}")
target_include_directories(fuzz_replay PRIVATE ${CMAKE_BINARY_DIR})
target_sources(kv_fuzz PRIVATE tests/drawing/exercise.cpp tests/drawing/exercise_drawing.cpp)
add_executable(font_seeds EXCLUDE_FROM_ALL tests/fuzz/font_seeds.cpp)
target_link_libraries(font_seeds kv_test_common)

add_test(NAME house/includes COMMAND ${CMAKE_SOURCE_DIR}/scripts/check-includes)
add_test(NAME house/third_party COMMAND ${CMAKE_SOURCE_DIR}/scripts/check-third-party ${CMAKE_BINARY_DIR})
add_test(NAME house/reference COMMAND ${CMAKE_SOURCE_DIR}/scripts/check-reference ${CMAKE_BINARY_DIR})
add_test(NAME house/completions COMMAND ${CMAKE_SOURCE_DIR}/scripts/check-completions ${CMAKE_BINARY_DIR})
add_test(NAME house/units COMMAND ${CMAKE_SOURCE_DIR}/scripts/check-units ${CMAKE_BINARY_DIR})
set_tests_properties(house/units PROPERTIES SKIP_RETURN_CODE 77)
add_test(NAME house/hardening COMMAND ${CMAKE_SOURCE_DIR}/scripts/check-hardening --linked $<TARGET_FILE:kvprint>
  $<TARGET_FILE:kvjob> $<TARGET_FILE:kvdisp12> $<TARGET_FILE:kvcups> $<TARGET_FILE:kvjob_library>)
add_test(NAME house/version COMMAND ${CMAKE_SOURCE_DIR}/scripts/check-version ${PROJECT_VERSION})

# The files of the product, as scripts/test builds them.
foreach(width 32 64)
  add_test(NAME windows/binaries_${width}
    COMMAND ${CMAKE_SOURCE_DIR}/scripts/check-binaries ${CMAKE_SOURCE_DIR}/build/win${width}/bin)
  add_test(NAME windows/third_party_${width}
    COMMAND ${CMAKE_SOURCE_DIR}/scripts/check-third-party ${CMAKE_SOURCE_DIR}/build/win${width})
endforeach()
add_test(NAME windows/version COMMAND ${CMAKE_SOURCE_DIR}/scripts/check-version ${PROJECT_VERSION}
  ${CMAKE_SOURCE_DIR}/build/win32/bin/kvgraph12.dll ${CMAKE_SOURCE_DIR}/build/win32/bin/kvres1232.dll)
# What the Windows builds do under wine, where there is one: one step at a time, for those of a width share a prefix. A
# machine that cannot run 32-bit programs skips theirs.
find_program(WINE64 wine64 PATHS /usr/lib/wine)
if(WINE64)
  cmake_path(GET CMAKE_BINARY_DIR FILENAME build_name)
  foreach(width 64 32)
    set(steps dll system jobs planted deliver processes package)
    foreach(step prepare ${steps} end)
      add_test(NAME windows/${step}_${width} COMMAND ${CMAKE_SOURCE_DIR}/scripts/test-windows ${step})
      set_tests_properties(windows/${step}_${width} PROPERTIES RESOURCE_LOCK wine TIMEOUT 600 SKIP_RETURN_CODE 77
        ENVIRONMENT "BUILD=${build_name};BITS=${width}")
    endforeach()
    list(TRANSFORM steps REPLACE "(.+)" "windows/\\1_${width}")
    set_tests_properties(windows/prepare_${width} PROPERTIES FIXTURES_SETUP wine_${width})
    set_tests_properties(windows/end_${width} PROPERTIES FIXTURES_CLEANUP wine_${width})
    set_tests_properties(${steps} PROPERTIES FIXTURES_REQUIRED wine_${width})
  endforeach()
endif()
