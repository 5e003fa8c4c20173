# Toolchain file: Clang as a second opinion on the sources, with the C++ library, headers and binutils of mingw-w64's GCC.
include(${CMAKE_CURRENT_LIST_DIR}/mingw-w64-x86_64.cmake)

set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_C_COMPILER_TARGET x86_64-w64-mingw32)
set(CMAKE_CXX_COMPILER_TARGET x86_64-w64-mingw32)
# CMake would pick LLVM's tools, whose dlltool cannot make import libraries for delay loading.
foreach(tool AR RANLIB DLLTOOL)
  string(TOLOWER ${tool} name)
  set(CMAKE_${tool} x86_64-w64-mingw32-${name})
endforeach()

# GCC's defaults for this target, which its C++ library relies on.
set(CMAKE_CXX_FLAGS_INIT -femulated-tls)
set(CMAKE_EXE_LINKER_FLAGS_INIT -pthread)
set(CMAKE_SHARED_LINKER_FLAGS_INIT -pthread)

# Clang looks for GCC's folder by version number, but Debian's is called 12-posix. A sysroot of our own presents it under the
# number, and keeps the host's headers away.
execute_process(COMMAND x86_64-w64-mingw32-g++-posix -dumpversion
  OUTPUT_VARIABLE gcc_version OUTPUT_STRIP_TRAILING_WHITESPACE)
string(REGEX MATCH "^[0-9.]+" gcc_version ${gcc_version})
execute_process(COMMAND x86_64-w64-mingw32-g++-posix -print-libgcc-file-name
  OUTPUT_VARIABLE gcc_library OUTPUT_STRIP_TRAILING_WHITESPACE)
get_filename_component(gcc_folder ${gcc_library} DIRECTORY)
set(CMAKE_SYSROOT ${CMAKE_CURRENT_LIST_DIR}/../build/clang/sysroot)
get_filename_component(CMAKE_SYSROOT ${CMAKE_SYSROOT} ABSOLUTE)
file(MAKE_DIRECTORY ${CMAKE_SYSROOT}/lib/gcc/x86_64-w64-mingw32)
file(CREATE_LINK ${gcc_folder} ${CMAKE_SYSROOT}/lib/gcc/x86_64-w64-mingw32/${gcc_version} SYMBOLIC)
file(CREATE_LINK /usr/x86_64-w64-mingw32 ${CMAKE_SYSROOT}/x86_64-w64-mingw32 SYMBOLIC)
