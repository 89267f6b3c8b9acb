# Warnings and sanitizers, carried by one interface target that everything of ours links.
option(ORBI_LIBFUZZER "Build the fuzz targets for libFuzzer, which needs clang" OFF)

add_library(orbi_flags INTERFACE)
target_compile_features(orbi_flags INTERFACE cxx_std_20)
target_compile_options(orbi_flags INTERFACE
  -Wall -Wextra -Wpedantic $<$<NOT:$<BOOL:${ORBI_LIBFUZZER}>>:-Wshadow=local -Werror>
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Woverloaded-virtual -Wsuggest-override>
  -fvisibility=hidden
  $<$<COMPILE_LANGUAGE:CXX>:-fvisibility-inlines-hidden>)

set(ORBI_SANITIZE "" CACHE STRING "Sanitizers, a list: address;undefined or thread")
if(ORBI_SANITIZE)
  list(JOIN ORBI_SANITIZE "," orbi_sanitizers)
  target_compile_options(orbi_flags INTERFACE
    -fsanitize=${orbi_sanitizers} -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
  target_link_options(orbi_flags INTERFACE -fsanitize=${orbi_sanitizers})
  target_compile_definitions(orbi_flags INTERFACE ORBI_SANITIZED=1)
endif()
