# How a cross build for macOS links: LLD is called by itself. The prefix holds the C++ library and the system root.
foreach(language CXX OBJCXX)
  unset(CMAKE_${language}_LINKER_WRAPPER_FLAG)
  # Code for macOS is independent of its position in any case, and zig refuses the flag for an object file.
  set(CMAKE_${language}_COMPILE_OPTIONS_PIE "")
endforeach()
string(JOIN " " LINK_RULE
  "<CMAKE_LINKER> -arch ${BRINDLEWICK_MACOS_ARCHITECTURE} -pie -dead_strip"
  "-platform_version macos 12.0 ${BRINDLEWICK_MACOS_SDK_VERSION} -fatal_warnings"
  "-syslibroot ${BRINDLEWICK_MACOS_PREFIX}/root <LINK_FLAGS> <OBJECTS> -o <TARGET> <LINK_LIBRARIES>"
  "${BRINDLEWICK_MACOS_PREFIX}/lib/libc++.a ${BRINDLEWICK_MACOS_PREFIX}/lib/libc++abi.a"
  "${BRINDLEWICK_MACOS_PREFIX}/lib/libcompiler_rt.a -lSystem")
set(CMAKE_CXX_LINK_EXECUTABLE "${LINK_RULE}")
set(CMAKE_OBJCXX_LINK_EXECUTABLE "${LINK_RULE}")
