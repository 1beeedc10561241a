# wayland_protocol(TARGET PROTOCOL PRODUCT…)
#
# Adds what the scanner makes of a protocol of wayland-protocols, or of one elsewhere by its whole path (without ".xml"):
# `client-header` and `server-header` give a header
# "NAME-client-header.h" or "NAME-server-header.h", `private-code` a C source.
function(wayland_protocol target protocol)
  pkg_get_variable(folder wayland-protocols pkgdatadir)
  cmake_path(ABSOLUTE_PATH protocol BASE_DIRECTORY "${folder}")
  find_program(WAYLAND_SCANNER wayland-scanner REQUIRED)
  get_filename_component(name "${protocol}" NAME)
  set(made "${CMAKE_CURRENT_BINARY_DIR}/protocols")
  file(MAKE_DIRECTORY "${made}")
  foreach(product IN LISTS ARGN)
    set(file "${made}/${name}-${product}.h")
    if(product STREQUAL "private-code")
      set(file "${made}/${name}-${product}.c")
    endif()
    add_custom_command(OUTPUT "${file}"
      COMMAND "${WAYLAND_SCANNER}" ${product} "${protocol}.xml" "${file}"
      DEPENDS "${protocol}.xml" VERBATIM)
    if(product STREQUAL "private-code")
      # Apart from the target, whose precompiled headers are C++.
      add_library(${target}_${name} OBJECT "${file}")
      set_target_properties(${target}_${name} PROPERTIES AUTOMOC OFF AUTORCC OFF POSITION_INDEPENDENT_CODE ON)
      set(file $<TARGET_OBJECTS:${target}_${name}>)
    endif()
    target_sources(${target} PRIVATE "${file}")
  endforeach()
  target_include_directories(${target} SYSTEM PRIVATE "${made}")
endfunction()
