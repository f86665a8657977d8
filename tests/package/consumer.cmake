# Installs the dev component of BUILD_DIR into WORK/prefix, then configures,
# builds and runs the consumer program against it.
#   cmake -DBUILD_DIR=... -DWORK=... -DSOURCE=... -DFLAGS=... -P consumer.cmake
file(REMOVE_RECURSE "${WORK}")
include(${CMAKE_CURRENT_LIST_DIR}/run.cmake)
run(${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${WORK}/prefix" --component dev)
foreach(f include/osservices/os_cosfile.h lib/libosservices.a lib/cmake/osservices/osservicesConfig.cmake)
  if(NOT EXISTS "${WORK}/prefix/${f}")
    message(FATAL_ERROR "not installed: ${f}")
  endif()
endforeach()
run(${CMAKE_COMMAND} -S "${SOURCE}" -B "${WORK}/build" "-DCMAKE_PREFIX_PATH=${WORK}/prefix"
    "-DCMAKE_CXX_FLAGS=${FLAGS}" "-DCMAKE_EXE_LINKER_FLAGS=${FLAGS}")
run(${CMAKE_COMMAND} --build "${WORK}/build")
run(${EMULATOR} "${WORK}/build/consumer")
if(NOT out STREQUAL "/opt/qrb/pnphelper 40a\n")
  message(FATAL_ERROR "unexpected output: <${out}>")
endif()
file(REMOVE_RECURSE "${WORK}")
