# Installs into a folder of the build tree, builds the strangers there and runs the one that may run anywhere.
cmake_minimum_required(VERSION 3.21)

set(work ${BUILD_FOLDER}/install_consumer)
file(REMOVE_RECURSE ${work})

function(run)
  execute_process(COMMAND ${ARGV} RESULT_VARIABLE result OUTPUT_VARIABLE text ERROR_VARIABLE text)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${ARGV}\n${text}")
  endif()
  set(text "${text}" PARENT_SCOPE)
endfunction()

set(flags "")
if(SANITIZERS)
  set(flags "-fsanitize=${SANITIZERS}")
endif()

run(${CMAKE_COMMAND} --install ${BUILD_FOLDER} --config ${CONFIG} --prefix ${work}/prefix)
run(${CMAKE_COMMAND} -S ${STRANGER} -B ${work}/build -G ${GENERATOR}
  -DCMAKE_PREFIX_PATH=${work}/prefix -DCMAKE_CXX_COMPILER=${COMPILER}
  -DCMAKE_CXX_FLAGS=${flags})
run(${CMAKE_COMMAND} --build ${work}/build)
run(${work}/build/stranger "--greeting=hello")
if(NOT text STREQUAL "/a/b hello INFO\n")
  message(FATAL_ERROR "The stranger printed: ${text}")
endif()
file(GLOB_RECURSE private ${work}/prefix/include/*_for_testing.h ${work}/prefix/include/zint/platform/posix/*
  ${work}/prefix/include/zint/hook/*)
if(private)
  message(FATAL_ERROR "${private} was installed")
endif()
