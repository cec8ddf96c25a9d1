# Compiles one file as all of the project are, warnings being errors, by a compiler that defines _FORTIFY_SOURCE itself,
# and demands that the project's own level is what counts.
cmake_minimum_required(VERSION 3.21)

file(REMOVE_RECURSE ${WORK})
file(WRITE ${WORK}/c++ "#!/bin/sh\nexec '${COMPILER}' -D_FORTIFY_SOURCE=1 \"$@\"\n")
file(CHMOD ${WORK}/c++ PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE)

function(compile name isFortified)
  execute_process(
    COMMAND ${CMAKE_COMMAND} -S ${CMAKE_CURRENT_LIST_DIR}/project -B ${WORK}/${name} -G ${GENERATOR}
      -DCMAKE_CXX_COMPILER=${WORK}/c++ -DCMAKE_CXX_COMPILER_LAUNCHER= -DIS_FORTIFIED=${isFortified} ${ARGN}
    COMMAND_ERROR_IS_FATAL ANY OUTPUT_QUIET)
  execute_process(COMMAND ${CMAKE_COMMAND} --build ${WORK}/${name} --verbose COMMAND_ERROR_IS_FATAL ANY)
endfunction()

compile(release 1 -DCMAKE_BUILD_TYPE=Release)
compile(debug 0 -DCMAKE_BUILD_TYPE=Debug)
compile(sanitizers 0 -DCMAKE_BUILD_TYPE=Release -DZINT_SANITIZERS=address)
