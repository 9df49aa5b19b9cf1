# Builds for macOS on Linux: zig compiles, with the headers and the C++ library that it carries; LLD links, since zig's
# own linker can neither embed a property list nor name the version of the SDK. scripts/build-macos prepares the folders
# that these settings name.
set(REQUIRED_SETTINGS BRINDLEWICK_MACOS_ARCHITECTURE BRINDLEWICK_MACOS_ZIG BRINDLEWICK_MACOS_PREFIX
    BRINDLEWICK_MACOS_SDK_VERSION)
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ${REQUIRED_SETTINGS} BRINDLEWICK_MACOS_SDK)
foreach(setting IN LISTS REQUIRED_SETTINGS)
  if(NOT ${setting})
    message(FATAL_ERROR "${setting} is not set: use scripts/build-macos")
  endif()
endforeach()

set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_PROCESSOR ${BRINDLEWICK_MACOS_ARCHITECTURE})
string(REPLACE arm64 aarch64 ZIG_ARCHITECTURE ${BRINDLEWICK_MACOS_ARCHITECTURE})

foreach(language CXX OBJCXX)
  set(CMAKE_${language}_COMPILER ${BRINDLEWICK_MACOS_ZIG} c++)
  # The platform's convention keeps the frame pointer, which zig leaves out; unwinding is described by it.
  set(CMAKE_${language}_FLAGS_INIT "-target ${ZIG_ARCHITECTURE}-macos.12.0 -fno-omit-frame-pointer")
  if(BRINDLEWICK_MACOS_SDK)
    # The compiler brings the system's headers; the SDK's are only for those that frameworks need besides.
    string(APPEND CMAKE_${language}_FLAGS_INIT
           " -iframework ${BRINDLEWICK_MACOS_SDK}/Frameworks -idirafter ${BRINDLEWICK_MACOS_SDK}/include")
  endif()
endforeach()
# zig itself passes on a flag that it does not use for this language.
string(APPEND CMAKE_OBJCXX_FLAGS_INIT " -Wno-unused-command-line-argument")
find_program(CMAKE_AR llvm-ar REQUIRED)
find_program(CMAKE_RANLIB llvm-ranlib REQUIRED)
find_program(CMAKE_LINKER NAMES ld64.lld-19 REQUIRED)
find_program(CMAKE_INSTALL_NAME_TOOL llvm-install-name-tool REQUIRED)
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)

# The rules for linking are set where CMake does not set its own after them.
set(CMAKE_USER_MAKE_RULES_OVERRIDE ${CMAKE_CURRENT_LIST_DIR}/macos-cross-link.cmake)

# Nothing of this machine but its programs.
set(CMAKE_FIND_ROOT_PATH ${BRINDLEWICK_MACOS_PREFIX})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_LIBDIR} ${BRINDLEWICK_MACOS_PREFIX}/lib/pkgconfig)
