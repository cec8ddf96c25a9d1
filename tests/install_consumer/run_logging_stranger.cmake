# Runs the stranger that writes a log of its own. A log target makes folders below the home folder of whoever runs it and
# looks for marker files there; so that this is nobody's home the system has another account file meanwhile.
cmake_minimum_required(VERSION 3.21)

set(work ${BUILD_FOLDER}/install_consumer/log)
file(REMOVE_RECURSE ${work})
file(MAKE_DIRECTORY ${work}/home)
file(WRITE ${work}/passwd "root:x:0:0:root:${work}/home:/bin/sh\n")

set(enter [[
mount --bind "$1/passwd" /etc/passwd && [ "$(getent passwd "$(id -u)" | cut -d : -f 6)" = "$1/home" ] || exit 1
echo entered
exec "$2" "$1"
]])
set(text "")
foreach(namespaces "--mount;--ipc" "--user;--map-root-user;--mount;--ipc")
  if(NOT text MATCHES "^entered\n")
    execute_process(
      COMMAND unshare ${namespaces} sh -c ${enter} sh ${work} ${BUILD_FOLDER}/install_consumer/build/logging_stranger
      RESULT_VARIABLE result OUTPUT_VARIABLE text ERROR_VARIABLE errors)
  endif()
endforeach()
if(NOT text MATCHES "^entered\n")
  message("Skipped: no account file can be mounted here: ${errors}")
  return()
endif()

file(GLOB_RECURSE items LIST_DIRECTORIES true RELATIVE ${work} ${work}/*)
set(record "[0-9/]+ [0-9:]+ [|] [[]WARN[]] [|]  [|]  [|]  [|]  [|] fifth [|]  [|] [0-9]+ [|] 0 [|] hello world\n")
if(NOT result EQUAL 0 OR NOT text MATCHES "^entered\n${record}$")
  message(FATAL_ERROR "The stranger ended with ${result} and printed: ${text}${errors}")
endif()
if(NOT items STREQUAL "home;home/Library;home/Library/Logs;passwd;stranger.log")
  message(FATAL_ERROR "The stranger left: ${items}")
endif()
