# With QUILLON_PRECOMPILE, headers that nearly every source reads are read once: a third of what a build takes. For the
# modules these are of the toolkit's core, which no source that uses the toolkit does without: releases are built without
# them, and an include that is missing there must be missing here.
option(QUILLON_PRECOMPILE "Precompile the headers that nearly all sources read" OFF)

if(QUILLON_PRECOMPILE AND CCACHE)
  # The cache takes a precompiled header as a whole: it cannot see which of its macros and times a source uses.
  set(launcher "${CMAKE_COMMAND}" -E env CCACHE_SLOPPINESS=pch_defines,time_macros "${CCACHE}")
  set(CMAKE_C_COMPILER_LAUNCHER ${launcher})
  set(CMAKE_CXX_COMPILER_LAUNCHER ${launcher})
  add_compile_options($<$<CXX_COMPILER_ID:GNU>:-fpch-preprocess>)
endif()

# precompiled_headers(NAME HEADERS header … LIBS target …)
function(precompiled_headers name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "HEADERS;LIBS")
  if(NOT QUILLON_PRECOMPILE)
    return()
  endif()
  file(CONFIGURE OUTPUT ${name}.cpp CONTENT "")
  add_library(${name} OBJECT "${CMAKE_CURRENT_BINARY_DIR}/${name}.cpp")
  set_target_properties(${name} PROPERTIES AUTOMOC OFF AUTORCC OFF)
  target_link_libraries(${name} PRIVATE ${arg_LIBS})
  list(TRANSFORM arg_HEADERS REPLACE "(.+)" "<\\1>")
  target_precompile_headers(${name} PRIVATE ${arg_HEADERS})
endfunction()

# use_precompiled(TARGET NAME)
#
# The target's sources are C++, compiled with the same options and all definitions that those headers ask for.
function(use_precompiled target name)
  if(QUILLON_PRECOMPILE)
    target_precompile_headers(${target} REUSE_FROM ${name})
  endif()
endfunction()
