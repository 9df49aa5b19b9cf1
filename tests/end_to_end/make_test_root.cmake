# cmake -DMAKER=... -DPKI=... -P make_test_root.cmake: makes the root certificate of the tests once, and a header with
# its fingerprint for the programs that are to trust it. Its private key never leaves the build folder.
file(REMOVE_RECURSE ${PKI}/scratch)
file(MAKE_DIRECTORY ${PKI}/scratch)
execute_process(COMMAND ${MAKER} --pki ${PKI} ${PKI}/scratch/Brindlewick.app
                OUTPUT_VARIABLE fingerprint OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
file(REMOVE_RECURSE ${PKI}/scratch)
string(LENGTH "${fingerprint}" length)
if(NOT length EQUAL 64)
  message(FATAL_ERROR "${MAKER} printed no fingerprint but: ${fingerprint}")
endif()
file(WRITE ${PKI}/anchor.h "#define BRINDLEWICK_ANCHOR_SHA256 \"${fingerprint}\"\n")
