# Run as a test: installs the library into WORK_DIR/prefix, then configures, builds and runs
# the host project HOST_PROJECT (compiling HOST_SOURCE) against that prefix only.
set(prefix ${WORK_DIR}/prefix)
set(hostBuild ${WORK_DIR}/host)
file(REMOVE_RECURSE ${WORK_DIR})

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE status)
  if(NOT status EQUAL 0)
    list(JOIN ARGN " " command)
    message(FATAL_ERROR "failed (${status}): ${command}")
  endif()
endfunction()

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix} --component ZRAdjustment)

set(flags "")
if(SANITIZE)
  set(sanitizers "-fsanitize=address,undefined -fno-sanitize-recover=undefined")
  list(APPEND flags "-DCMAKE_CXX_FLAGS=${sanitizers} -fno-omit-frame-pointer"
                    "-DCMAKE_EXE_LINKER_FLAGS=${sanitizers}")
endif()
run(${CMAKE_COMMAND} -S ${HOST_PROJECT} -B ${hostBuild} -G ${GENERATOR}
    -DCMAKE_CXX_COMPILER=${CXX_COMPILER} -DCMAKE_PREFIX_PATH=${prefix}
    -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF -DHOST_SOURCE=${HOST_SOURCE} ${flags})
run(${CMAKE_COMMAND} --build ${hostBuild})
run(${hostBuild}/host)
