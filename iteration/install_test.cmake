# Run as a test: installs everything into WORK_DIR/prefix, checks the documents and the program
# there (PROGRAM: whether zr-adjust is part of the build), then configures, builds and runs the
# host project HOST_PROJECT (compiling HOST_SOURCE) against that prefix only, with the
# compiler's default language standard.
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

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})

# What a host developer gets besides the package: the guide with its example, and the program,
# which must run from the prefix alone.
foreach(installed share/doc/ZRAdjustment/host-guide.md share/doc/ZRAdjustment/framework.md
                  share/doc/ZRAdjustment/examples/host_example.cpp)
  if(NOT EXISTS ${prefix}/${installed})
    message(FATAL_ERROR "not installed: ${installed}")
  endif()
endforeach()
if(PROGRAM)
  run(${prefix}/bin/zr-adjust --version)
endif()

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
