# What a program that people run is hardened with, each where the compiler or the linker takes it. The Debian package has
# it from here, too: what dpkg-buildflags gives differs from release to release, and saying it twice does no harm.
#
# Not with the sanitizers: FORTIFY hides bugs from them. Not in a debug build: it needs optimisation.
if(QUILLON_SANITIZE OR CMAKE_BUILD_TYPE STREQUAL "Debug")
  return()
endif()

include(CheckCXXCompilerFlag)
include(CheckCXXSourceCompiles)
include(CheckLinkerFlag)
include(CheckPIESupported)

check_pie_supported(LANGUAGES C CXX)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

foreach(flag -fstack-protector-strong -fstack-clash-protection -fcf-protection -mbranch-protection=standard)
  string(MAKE_C_IDENTIFIER "TAKES${flag}" taken)
  check_cxx_compiler_flag(${flag} ${taken})
  if(${taken})
    add_compile_options(${flag})
  endif()
endforeach()

foreach(flag -Wl,-z,relro -Wl,-z,now)
  string(MAKE_C_IDENTIFIER "TAKES${flag}" taken)
  check_linker_flag(CXX ${flag} ${taken})
  if(${taken})
    add_link_options(${flag})
  endif()
endforeach()

# Level 3 checks more calls, and a C library without it warns.
set(CMAKE_REQUIRED_FLAGS "-O2 -Werror -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3")
check_cxx_source_compiles("#include <cstdio>\nint main() { return std::puts(\"\"); }" TAKES_FORTIFY_3)
unset(CMAKE_REQUIRED_FLAGS)
if(TAKES_FORTIFY_3)
  set(fortify 3)
else()
  set(fortify 2)
endif()
# Undefined first: compilers and package builders may set a level of their own.
add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=${fortify})
