# With threads of the standard library, which the programs that test the DLL use.
include(${CMAKE_CURRENT_LIST_DIR}/mingw-i686.cmake)
set(CMAKE_C_COMPILER i686-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER i686-w64-mingw32-g++-posix)
