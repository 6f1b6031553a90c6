# Installs the build tree into a staging prefix, builds the consumer project
# against it and runs it on the demo project.
# cmake -DBUILD_DIR=... -DSOURCE_DIR=... -DWORK_DIR=... [-DLINK_FLAGS=...] -P run.cmake
function(run)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE out)
    if(NOT status EQUAL 0)
        message(FATAL_ERROR "failed: ${ARGN}\n${out}")
    endif()
endfunction()

set(stage ${WORK_DIR}/stage)
file(REMOVE_RECURSE ${WORK_DIR})
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${stage})

# Only the public headers are installed.
file(GLOB_RECURSE headers RELATIVE ${stage}/include ${stage}/include/*)
list(SORT headers)
if(NOT headers STREQUAL "prooftally/db/DbFile.h;prooftally/pos/pos.h")
    message(FATAL_ERROR "installed headers: ${headers}")
endif()
foreach(file bin/prooftally bin/pomaint share/man/man1/prooftally.1.gz share/man/man1/pomaint.1.gz)
    if(NOT EXISTS ${stage}/${file})
        message(FATAL_ERROR "not installed: ${file}")
    endif()
endforeach()

run(${CMAKE_COMMAND} -S ${SOURCE_DIR}/tests/consumer -B ${WORK_DIR}/build
    -DCMAKE_PREFIX_PATH=${stage} "-DCMAKE_EXE_LINKER_FLAGS=${LINK_FLAGS}")
run(${CMAKE_COMMAND} --build ${WORK_DIR}/build)
execute_process(COMMAND ${WORK_DIR}/build/consumer ${SOURCE_DIR}/examples/demo demo
    RESULT_VARIABLE status OUTPUT_VARIABLE out)
set(expected "Counter 5 4\nDoor_Control 6 3\nSensor 3 3\nCounter 5 4\nLogger 0 0\n")
if(NOT status EQUAL 0 OR NOT out STREQUAL expected)
    message(FATAL_ERROR "consumer answered ${status}:\n${out}expected:\n${expected}")
endif()
