# Builds kinetra.mex for GNU Octave with the compiler and link flags that
# mkoctfile reports, so the module loads with addpath of the build folder.
find_program(MKOCTFILE mkoctfile)
if(NOT MKOCTFILE)
  message(STATUS "mkoctfile not found: the Octave module is not built")
  return()
endif()

function(_kinetra_mkoctfile var flag)
  execute_process(COMMAND ${MKOCTFILE} -p ${flag} OUTPUT_VARIABLE out OUTPUT_STRIP_TRAILING_WHITESPACE)
  separate_arguments(out UNIX_COMMAND "${out}")
  set(${var} ${out} PARENT_SCOPE)
endfunction()

_kinetra_mkoctfile(OCTAVE_INCFLAGS INCFLAGS)

add_library(kinetra_octave MODULE ${CMAKE_SOURCE_DIR}/src/kinetra.cpp ${KINETRA_SOURCES})
target_include_directories(kinetra_octave PRIVATE ${CMAKE_SOURCE_DIR}/src)
target_compile_options(kinetra_octave PRIVATE ${OCTAVE_INCFLAGS})
# The mex API symbols are resolved by Octave when it loads the module.
target_link_options(kinetra_octave PRIVATE -Wl,-Bsymbolic)
set_target_properties(kinetra_octave PROPERTIES PREFIX "" OUTPUT_NAME kinetra SUFFIX ".mex"
                      LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR})
set(KINETRA_OCTAVE_MODULE ${CMAKE_BINARY_DIR}/kinetra.mex CACHE INTERNAL "")
