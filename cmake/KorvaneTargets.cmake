# Flags of every target of ours, and one function for a folder that is a library, one for a folder of kernels, one for
# a folder of tests.

# Results are the same to the last bit for every compiler and build type: no contraction, no reassociation.
add_library(korvane_flags INTERFACE)
target_compile_features(korvane_flags INTERFACE cxx_std_20)
target_compile_options(korvane_flags INTERFACE -ffp-contract=off -fno-fast-math)
# Nobody reads errno or the floating-point flags; without them roots and selections vectorise, to the same values.
target_compile_options(korvane_flags INTERFACE -fno-math-errno -fno-trapping-math)
# GCC 12 loses the rounding of two neighbouring values from double to float and back when it packs them into one vector.
target_compile_options(korvane_flags INTERFACE $<$<CXX_COMPILER_ID:GNU>:-fno-tree-slp-vectorize>)
target_include_directories(korvane_flags INTERFACE ${PROJECT_SOURCE_DIR})

# Warnings are errors in our own sources; kernels and driver also spell out every conversion.
add_library(korvane_warnings INTERFACE)
target_compile_options(korvane_warnings INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Werror)
# GCC 12 takes string concatenation for overlapping copies.
target_compile_options(korvane_warnings INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)
add_library(korvane_numeric_warnings INTERFACE)
target_compile_options(korvane_numeric_warnings INTERFACE -Wconversion -Wdouble-promotion -Wfloat-conversion)
target_link_libraries(korvane_numeric_warnings INTERFACE korvane_warnings)

option(KORVANE_SANITIZE "Address and undefined behaviour sanitizers" OFF)
if(KORVANE_SANITIZE)
  target_compile_options(korvane_flags INTERFACE -fsanitize=address,undefined -fno-sanitize-recover=all
                                                 -fno-omit-frame-pointer)
  target_link_options(korvane_flags INTERFACE -fsanitize=address,undefined)
  target_compile_options(korvane_numeric_warnings INTERFACE -O1)  # the tests spend their time in kernels and driver
endif()

option(KORVANE_FUZZ "The fuzz targets (Clang)" OFF)
add_library(korvane_fuzzed INTERFACE)
if(KORVANE_FUZZ)
  # Loops that count their branches cannot be made vectors of.
  target_compile_options(korvane_fuzzed INTERFACE -fsanitize=fuzzer-no-link -Wno-pass-failed)
  target_compile_definitions(korvane_fuzzed INTERFACE KORVANE_BASELINE)
endif()

# korvane_library(name libraries...): the sources of the current folder as one library.
function(korvane_library name)
  file(GLOB sources CONFIGURE_DEPENDS *.cpp)
  add_library(${name} STATIC ${sources})
  target_link_libraries(${name} PUBLIC $<BUILD_INTERFACE:korvane_flags> ${ARGN}
                                PRIVATE $<BUILD_INTERFACE:korvane_fuzzed>)
endfunction()

# korvane_kernel(name libraries...): such a library that other programs link too. It is installed with its headers, and
# its users are free in their flags.
function(korvane_kernel name)
  korvane_library(${name} ${ARGN})
  target_link_libraries(${name} PRIVATE $<BUILD_INTERFACE:korvane_numeric_warnings>)
  set_target_properties(${name} PROPERTIES OUTPUT_NAME korvane_${name})
  file(GLOB headers CONFIGURE_DEPENDS *.h)
  list(FILTER headers EXCLUDE REGEX "/framework\\.h$")  # the driver's, which is not installed
  target_sources(${name} PUBLIC FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR} FILES ${headers})
  install(TARGETS ${name} EXPORT korvane_kernels
          ARCHIVE COMPONENT development
          FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/korvane COMPONENT development)
endfunction()

# korvane_tests(folder libraries...): the sources of tests/<folder> as one test program.
function(korvane_tests folder)
  string(REPLACE "/" "_" name ${folder})
  file(GLOB sources CONFIGURE_DEPENDS ${folder}/*.cpp)
  add_executable(tests_${name} ${sources})
  target_link_libraries(tests_${name} PRIVATE korvane_warnings ${ARGN} GTest::gtest GTest::gtest_main)
  gtest_discover_tests(tests_${name} DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 300)
endfunction()
