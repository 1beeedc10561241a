# app_module(NAME SOURCES … [USES module …] [LIBS target …] [PRIVATE_LIBS target …] [SMALL])
#
# One line makes the library `quillon_NAME` from the sources in the current folder. Its headers are published under an
# include root of their own, so `#include "NAME/Thing.h"` resolves only in targets that say `USES NAME` (or use a
# module that does): a forbidden include does not compile. SMALL is for modules whose code mostly waits for others:
# compiled for size, for a program that stays in memory all day.
function(app_module name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "SMALL" "FOLDER" "SOURCES;USES;LIBS;PRIVATE_LIBS")
  set(folder "${name}")
  if(arg_FOLDER)
    set(folder "${arg_FOLDER}")
  endif()
  set(root "${CMAKE_BINARY_DIR}/include/${name}")
  file(GLOB headers CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/*.h")
  file(REMOVE_RECURSE "${root}")
  file(MAKE_DIRECTORY "${root}/${folder}")
  foreach(header IN LISTS headers)
    get_filename_component(file "${header}" NAME)
    file(CREATE_LINK "${header}" "${root}/${folder}/${file}" SYMBOLIC)
  endforeach()

  add_library(quillon_${name} STATIC ${arg_SOURCES} ${headers})
  target_include_directories(quillon_${name} PUBLIC "${root}")
  list(TRANSFORM arg_USES PREPEND quillon_)
  target_link_libraries(quillon_${name} PUBLIC ${arg_USES} ${arg_LIBS} PRIVATE ${arg_PRIVATE_LIBS})
  if("${arg_LIBS}" MATCHES "Qt6::Test")
    use_precompiled(quillon_${name} precompiled_test)
  elseif("${arg_LIBS}" MATCHES "Qt6::")
    use_precompiled(quillon_${name} precompiled_core)
  endif()
  if(arg_SMALL)
    target_compile_options(quillon_${name} PRIVATE $<$<NOT:$<CONFIG:Debug>>:-Os>)
  endif()
  set_property(GLOBAL APPEND PROPERTY QUILLON_MODULES ${name})
endfunction()

# test_program(NAME SOURCES … [USES module …] [LIBS target …])
#
# A QtTest program, linked with the test support library.
function(test_program name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;USES;LIBS")
  add_executable(${name} ${arg_SOURCES})
  use_precompiled(${name} precompiled_test)
  list(TRANSFORM arg_USES PREPEND quillon_)
  target_link_libraries(${name} PRIVATE quillon_test_support ${arg_USES} ${arg_LIBS} Qt6::Test)
endfunction()

# app_test(NAME SOURCES … [USES module …] [LIBS target …])
#
# A test_program under ctest.
function(app_test name)
  test_program(${name} ${ARGN})
  add_test(NAME ${name} COMMAND ${name})
  set_tests_properties(${name} PROPERTIES TIMEOUT 120)
endfunction()
