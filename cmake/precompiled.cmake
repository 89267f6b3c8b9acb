# The standard library's headers, and those of the tests, are read once for the whole build instead
# of once in each file, which saves a third of its time. The preset fuzz does without, so that a file
# which names too few headers itself doesn't build there.
option(ORBI_PRECOMPILE "Read common headers once for the whole build" ON)

set(orbi_standard_headers <algorithm> <array> <atomic> <charconv> <chrono> <cmath> <cstdint>
  <cstring> <filesystem> <functional> <memory> <optional> <span> <string> <string_view>
  <unordered_map> <utility> <vector>)
set(orbi_test_headers ${orbi_standard_headers} <fstream> <thread> <gmock/gmock.h> <gtest/gtest.h>)

# orbi_precompiled_headers(<kind> <options> <header> ... [LIBRARIES <library> ...]): what targets of
# one kind share. They are compiled with the same options, and may define more.
function(orbi_precompiled_headers kind options)
  if(NOT ORBI_PRECOMPILE)
    return()
  endif()
  cmake_parse_arguments(PARSE_ARGV 2 headers "" "" LIBRARIES)
  set(nothing ${PROJECT_BINARY_DIR}/nothing.cpp)
  if(NOT EXISTS ${nothing})
    file(WRITE ${nothing} "")
  endif()
  add_library(orbi_headers_of_${kind} OBJECT EXCLUDE_FROM_ALL ${nothing})
  target_link_libraries(orbi_headers_of_${kind} PRIVATE orbi_flags ${headers_LIBRARIES})
  target_compile_options(orbi_headers_of_${kind} PRIVATE ${options})
  target_precompile_headers(orbi_headers_of_${kind} PRIVATE ${headers_UNPARSED_ARGUMENTS})
endfunction()

# orbi_precompile(<target> <kind>): reads them from there. A target of kind `own` reads the standard
# library's for itself, as its definitions are others.
function(orbi_precompile target kind)
  if(NOT ORBI_PRECOMPILE)
    return()
  endif()
  # GCC 12 takes the library's own strings for out of bounds then. Clang, in the preset fuzz, doesn't.
  target_compile_options(${target} PRIVATE
    $<$<CXX_COMPILER_ID:GNU>:-Wno-array-bounds -Wno-stringop-overflow -Wno-stringop-overread>)
  if(kind STREQUAL "own")
    target_precompile_headers(${target} PRIVATE ${orbi_standard_headers})
    return()
  endif()
  if(kind STREQUAL "layers") # which may end up in a library
    target_compile_options(${target} PRIVATE -fPIC)
  endif()
  target_precompile_headers(${target} REUSE_FROM orbi_headers_of_${kind})
endfunction()
