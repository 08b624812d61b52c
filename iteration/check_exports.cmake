# Run as: cmake -DNM=<nm> -DLIBRARY=<libzr_adjustment.so> -P check_exports.cmake
# Fails unless the library's dynamic symbol table defines exactly the one entry point.
set(expected "_ZN2ZR15AdjustmentModel7IterateERdddbbhjdPd")
execute_process(COMMAND ${NM} -D --defined-only --format=posix ${LIBRARY}
  OUTPUT_VARIABLE symbolTable RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "${NM} failed on ${LIBRARY}")
endif()
string(REGEX REPLACE "\n$" "" symbolTable "${symbolTable}")
string(REPLACE "\n" ";" lines "${symbolTable}")
set(defined "")
foreach(line IN LISTS lines)
  # posix format: name type value size
  string(REGEX MATCH "^[^ ]+" name "${line}")
  list(APPEND defined "${name}")
endforeach()
if(NOT defined STREQUAL expected)
  string(REPLACE ";" "\n  " shown "${defined}")
  message(FATAL_ERROR "expected only ${expected}, the library defines:\n  ${shown}")
endif()
message(STATUS "exports: ${defined}")
