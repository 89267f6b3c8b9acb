# A layer is one folder of src/. Its headers are reached as "<layer>/<header>.h" through an include
# folder of its own that holds nothing but a link to it, so a target sees exactly the layers that it
# links: an include against the direction of knowledge does not build.

# orbi_layer(<name> [<layer to its left> ...] [LIBRARIES <library> ...])
# Sources are the folder's *.cpp and those of its rooms; classes register themselves, so a layer is
# an OBJECT library and no registration can be dropped by the linker.
function(orbi_layer name)
  cmake_parse_arguments(PARSE_ARGV 1 layer "" "" LIBRARIES)
  set(folder ${PROJECT_SOURCE_DIR}/src/${name})
  if(name STREQUAL "platform")
    file(GLOB sources CONFIGURE_DEPENDS ${folder}/*.cpp ${folder}/linux/*.cpp)
  else()
    file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${folder}/*.cpp)
    list(FILTER sources EXCLUDE REGEX "/main\\.cpp$") # a program's own
  endif()
  set(faces ${PROJECT_BINARY_DIR}/include/${name})
  file(MAKE_DIRECTORY ${faces})
  file(CREATE_LINK ${folder} ${faces}/${name} SYMBOLIC)

  if(sources)
    add_library(orbi_${name} OBJECT ${sources})
    set(scope PUBLIC)
    set_target_properties(orbi_${name} PROPERTIES POSITION_INDEPENDENT_CODE ON)
    orbi_precompile(orbi_${name} layers)
  else()
    add_library(orbi_${name} INTERFACE)
    set(scope INTERFACE)
  endif()
  target_include_directories(orbi_${name} ${scope} ${faces})
  target_link_libraries(orbi_${name} ${scope} orbi_flags ${layer_LIBRARIES})

  set(layers orbi_${name})
  foreach(left ${layer_UNPARSED_ARGUMENTS})
    target_link_libraries(orbi_${name} ${scope} orbi_${left})
    get_property(further GLOBAL PROPERTY ORBI_LAYERS_OF_${left})
    list(APPEND layers ${further})
  endforeach()
  list(REMOVE_DUPLICATES layers)
  set_property(GLOBAL PROPERTY ORBI_LAYERS_OF_${name} "${layers}")
endfunction()

# orbi_use(<target> <layer>): links a program with a layer and all that lie to its left. Objects of
# an OBJECT library reach only those who name it, hence the list.
function(orbi_use target layer)
  get_property(layers GLOBAL PROPERTY ORBI_LAYERS_OF_${layer})
  target_link_libraries(${target} PRIVATE ${layers})
endfunction()

# orbi_module(<name> <output folder> <sources...>): a plug-in or driver, loaded at run time.
function(orbi_module name folder)
  add_library(${name} MODULE ${ARGN})
  set_target_properties(${name} PROPERTIES PREFIX "" LIBRARY_OUTPUT_DIRECTORY ${folder})
  target_link_libraries(${name} PRIVATE orbi_flags orbi_sdk)
endfunction()

# orbi_test(<folder> <layer> [libraries]): tests/<folder>/*.cpp as the program test_<folder>. The
# tests themselves aren't optimised, which halves their time to build.
function(orbi_test folder layer)
  file(GLOB sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/tests/${folder}/*.cpp)
  if(NOT sources)
    return()
  endif()
  add_executable(test_${folder} ${sources})
  target_include_directories(test_${folder} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  orbi_use(test_${folder} ${layer})
  target_compile_options(test_${folder} PRIVATE -O0)
  target_link_options(test_${folder} PRIVATE ${orbi_quick_linker})
  orbi_precompile(test_${folder} tests)
  target_link_libraries(test_${folder} PRIVATE orbi_sdk GTest::gmock GTest::gtest_main ${ARGN})
  set_target_properties(test_${folder} PROPERTIES
    RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/tests)
  add_test(NAME ${folder} COMMAND test_${folder})
  add_dependencies(unit_tests test_${folder})
endfunction()
