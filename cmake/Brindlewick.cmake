# The flags of every target, on one interface target, and the functions with which the folders declare themselves.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_OBJCXX_STANDARD 20)
set(CMAKE_OBJCXX_STANDARD_REQUIRED ON)
set(CMAKE_OBJCXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
include(CheckPIESupported)
check_pie_supported()

find_program(CCACHE ccache)
if(CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE})
endif()

add_library(brindlewick_flags INTERFACE)
target_compile_options(brindlewick_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Werror -fstack-protector-strong
  $<$<CONFIG:Release>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # GCC bug 105651: with optimisation it sees overlapping copies in the standard library's own operator+.
  target_compile_options(brindlewick_flags INTERFACE -Wno-restrict)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_FLAGS MATCHES "-fsanitize=address")
  # GCC bug 105562: with the sanitizer it warns of the standard library's own regular expressions.
  target_compile_options(brindlewick_flags INTERFACE -Wno-maybe-uninitialized)
endif()
target_include_directories(brindlewick_flags INTERFACE ${PROJECT_SOURCE_DIR}/src)
if(NOT APPLE)
  target_link_options(brindlewick_flags INTERFACE -Wl,-z,relro,-z,now -Wl,-z,noexecstack -Wl,--as-needed)
endif()

# brindlewick_library(name SOURCES ... DEPENDS ... [LIBRARIES ...]): one folder, one target. DEPENDS is all that the
# folder may know of this program; LIBRARIES are other people's.
function(brindlewick_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS;LIBRARIES" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_link_libraries(${name} PUBLIC ${ARG_DEPENDS} PRIVATE brindlewick_flags ${ARG_LIBRARIES})
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR}/src)
endfunction()

# brindlewick_test_program(name SOURCES ... DEPENDS ... [LIBRARIES ...]): one GoogleTest program.
function(brindlewick_test_program name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS;LIBRARIES" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE brindlewick_flags test_support ${ARG_DEPENDS} ${ARG_LIBRARIES}
                        GTest::gmock GTest::gtest_main)
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  target_compile_definitions(${name} PRIVATE BRINDLEWICK_TEST_DATA="${PROJECT_SOURCE_DIR}/tests/data")
endfunction()

# brindlewick_test(...): likewise, registered with CTest.
function(brindlewick_test name)
  brindlewick_test_program(${name} ${ARGN})
  add_test(NAME ${name} COMMAND ${name})
  set_tests_properties(${name} PROPERTIES TIMEOUT 900)
endfunction()

# brindlewick_sdk_sources(list file...): adds files that include the header of a framework, or one of the few others that
# the cross compiler does not bring. A cross build without an SDK leaves them out and says so.
function(brindlewick_sdk_sources list)
  if(BRINDLEWICK_FRAMEWORKS)
    set(${list} ${${list}} ${ARGN} PARENT_SCOPE)
    return()
  endif()
  cmake_path(RELATIVE_PATH CMAKE_CURRENT_SOURCE_DIR BASE_DIRECTORY ${PROJECT_SOURCE_DIR} OUTPUT_VARIABLE folder)
  foreach(file IN LISTS ARGN)
    message(STATUS "Left out, since it needs an SDK: ${folder}/${file}")
  endforeach()
endfunction()
