# orbi_fuzz(<name> <layer>): fuzz/<name>_fuzz.cpp as build/<preset>/fuzz/<name>_fuzz, with the seed
# corpus in fuzz/corpus/<name>/. With clang (preset fuzz) it is a libFuzzer program; otherwise a main
# of ours runs it over the files it is given and a fixed number of mutations of them, which is also
# what the test of the same name does.
function(orbi_fuzz name layer)
  set(folder ${PROJECT_SOURCE_DIR}/fuzz)
  set(target ${name}_fuzz)
  add_executable(${target} ${folder}/${name}_fuzz.cpp)
  orbi_use(${target} ${layer})
  orbi_precompile(${target} layers)
  set_target_properties(${target} PROPERTIES
    RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/fuzz)
  if(ORBI_LIBFUZZER)
    target_link_options(${target} PRIVATE -fsanitize=fuzzer)
    # What libFuzzer finds goes to the first folder, which mustn't be the one with the seeds.
    set(found ${PROJECT_BINARY_DIR}/fuzz/found/${name})
    file(MAKE_DIRECTORY ${found})
    add_test(NAME fuzz_${name} COMMAND
      ${target} -runs=20000 -seed=1 ${found} ${folder}/corpus/${name})
  else()
    if(NOT TARGET orbi_fuzz_main)
      add_library(orbi_fuzz_main OBJECT ${folder}/standalone_main.cpp)
      target_link_libraries(orbi_fuzz_main PRIVATE orbi_flags)
      orbi_precompile(orbi_fuzz_main layers)
    endif()
    target_link_libraries(${target} PRIVATE orbi_fuzz_main)
    add_test(NAME fuzz_${name} COMMAND ${target} ${folder}/corpus/${name})
  endif()
  if(NOT TARGET fuzzers)
    add_custom_target(fuzzers)
  endif()
  add_dependencies(fuzzers ${target})
endfunction()
