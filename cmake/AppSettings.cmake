# Options for every target.
set(CMAKE_C_STANDARD 11)
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_AUTOMOC ON)
set(CMAKE_AUTORCC ON)
# Fifty kilobytes of text: unpacking them would load half of a library that nothing else uses.
set(QUILLON_RCC_OPTIONS --no-compress)
set(CMAKE_AUTORCC_OPTIONS ${QUILLON_RCC_OPTIONS})
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

# For programs that only our program starts.
set(QUILLON_HELPER_DIR "${CMAKE_INSTALL_LIBEXECDIR}/quillon")
# What the program reads: documentation proper may be left out of an installation.
set(QUILLON_MANUAL_DIR "${CMAKE_INSTALL_DATADIR}/quillon/manual")

option(QUILLON_SANITIZE "Build with the address and undefined-behaviour sanitizers" OFF)
option(QUILLON_WERROR "Treat warnings as errors" OFF)
option(QUILLON_BENCHMARKS "Build the benchmark programs with everything else" OFF)

add_compile_options(
  -Wall -Wextra -Wpedantic "$<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor;-Woverloaded-virtual>"
  -Wno-missing-field-initializers)
add_compile_definitions(
  QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_URL_CAST_FROM_STRING QT_NO_FOREACH
  QT_NO_NARROWING_CONVERSIONS_IN_CONNECT QT_DISABLE_DEPRECATED_BEFORE=0x060400
  QUILLON_VERSION="${PROJECT_VERSION}")
if(QUILLON_WERROR)
  add_compile_options(-Werror)
endif()
if(QUILLON_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
  # Clang 14 cannot put that check before a coroutine ("difference across sections").
  add_compile_options($<$<CXX_COMPILER_ID:Clang>:-fno-sanitize=function>)
endif()

include(Hardening)

find_program(CCACHE ccache)
if(CCACHE)
  set(CMAKE_C_COMPILER_LAUNCHER "${CCACHE}")
  set(CMAKE_CXX_COMPILER_LAUNCHER "${CCACHE}")
endif()
