# Compiler settings, which every target of the project gets from the interface library `project_settings`.
add_library(project_settings INTERFACE)
target_compile_features(project_settings INTERFACE cxx_std_20)
target_compile_definitions(project_settings INTERFACE
  UNICODE _UNICODE NOMINMAX WIN32_LEAN_AND_MEAN STRICT
  _WIN32_WINNT=0x0A00 WINVER=0x0A00)

if(MSVC)
  target_compile_options(project_settings INTERFACE /W4 /WX /utf-8 /permissive- /EHsc)
  target_link_options(project_settings INTERFACE /DYNAMICBASE /HIGHENTROPYVA /NXCOMPAT /TSAWARE)
else()
  target_compile_options(project_settings INTERFACE
    -Wall -Wextra -Wconversion -Wshadow -Werror
    -fstack-protector-strong)
  target_link_options(project_settings INTERFACE
    -static -fstack-protector-strong
    -Wl,--dynamicbase -Wl,--high-entropy-va -Wl,--nxcompat
    -Wl,--tsaware  # without it, a Remote Desktop server gives the program a Windows folder per user
    -Wl,--no-insert-timestamp)  # the same sources give the same bytes
  target_compile_options(project_settings INTERFACE
    $<$<CONFIG:Debug>:-fsanitize=undefined -fsanitize-undefined-trap-on-error -D_GLIBCXX_ASSERTIONS>
    # The sanitizer's branches cause false positives in these warnings. The release build keeps them.
    $<$<CONFIG:Debug>:-Wno-maybe-uninitialized -Wno-array-bounds -Wno-stringop-overflow -Wno-stringop-overread>)
endif()

# Nothing recurses on its input, but the standard library's regular expression matcher uses stack for each character of a name.
# 16 MB of address space is more than it ever needs; threads reserve as much.
set(STACK_RESERVE_BYTES 16777216)
if(MSVC)
  target_link_options(project_settings INTERFACE /STACK:${STACK_RESERVE_BYTES})
else()
  target_link_options(project_settings INTERFACE -Wl,--stack,${STACK_RESERVE_BYTES})
endif()

# Boost's headers are in the host's include folder, which a cross build must not search: a link in a folder of its own exposes
# Boost alone.
add_library(boost_headers INTERFACE)
target_compile_definitions(boost_headers INTERFACE BOOST_BIND_GLOBAL_PLACEHOLDERS)  # silences a note about Boost's own use
if(CMAKE_CROSSCOMPILING)
  if(NOT EXISTS /usr/include/boost/property_tree/json_parser.hpp)
    message(FATAL_ERROR "Boost's headers are missing: install libboost-dev")
  endif()
  file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/boost_include)
  file(CREATE_LINK /usr/include/boost ${CMAKE_BINARY_DIR}/boost_include/boost SYMBOLIC)
  target_include_directories(boost_headers SYSTEM INTERFACE ${CMAKE_BINARY_DIR}/boost_include)
else()
  set(BOOST_INCLUDE_DIR "" CACHE PATH "Folder that holds boost/")
  target_include_directories(boost_headers SYSTEM INTERFACE ${BOOST_INCLUDE_DIR})
endif()
