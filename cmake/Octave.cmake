# Builds kinetra.mex for GNU Octave from the core, the interfaces compiled
# with the include flags that mkoctfile reports, and the entry, so that the
# module loads with addpath of the build folder.
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

# The interfaces against Octave's mex.h; the core is the one of every build.
add_library(kinetra_interfaces_octave STATIC ${KINETRA_INTERFACE_SOURCES})
target_compile_options(kinetra_interfaces_octave PRIVATE ${OCTAVE_INCFLAGS})
target_link_libraries(kinetra_interfaces_octave PUBLIC kinetra_core)

add_library(kinetra_octave MODULE ${KINETRA_ENTRY})
target_compile_options(kinetra_octave PRIVATE ${OCTAVE_INCFLAGS})
target_link_libraries(kinetra_octave PRIVATE kinetra_interfaces_octave kinetra_core)
# The mex API symbols are resolved by Octave when it loads the module.
target_link_options(kinetra_octave PRIVATE -Wl,-Bsymbolic)
set_target_properties(kinetra_octave PROPERTIES PREFIX "" OUTPUT_NAME kinetra SUFFIX ".mex"
                      LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR})
set(KINETRA_OCTAVE_MODULE ${CMAKE_BINARY_DIR}/kinetra.mex CACHE INTERNAL "")
