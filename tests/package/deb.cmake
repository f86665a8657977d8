# The Debian package: everything below /opt/qrb/pnphelper, the udev rules
# linked into /usr/lib/udev/rules.d, and maintainer scripts that reload udev.
#   cmake -DBUILD_DIR=... -DWORK=... -DCPACK=... -DDPKG_DEB=... -P deb.cmake
file(REMOVE_RECURSE "${WORK}")
include(${CMAKE_CURRENT_LIST_DIR}/run.cmake)

run("${CPACK}" -G DEB --config "${BUILD_DIR}/CPackConfig.cmake" -B "${WORK}")
file(GLOB debs "${WORK}/pnphelper_*.deb")
list(LENGTH debs count)
if(NOT count EQUAL 1)
  message(FATAL_ERROR "expected one package in ${WORK}, found: ${debs}")
endif()

run("${DPKG_DEB}" --contents "${debs}")
foreach(entry "./opt/qrb/pnphelper/bin/pnphelper" "./opt/qrb/pnphelper/bin/osresource"
              "./opt/qrb/pnphelper/lib/deviceprobe" "./opt/qrb/pnphelper/const.ini"
              "./opt/qrb/pnphelper/lib/udev/rules.d/60-pnphelper.rules"
              "./opt/qrb/pnphelper/share/man/man8/pnphelper.8"
              "./usr/lib/udev/rules.d/60-pnphelper.rules -> /opt/qrb/pnphelper/lib/udev/rules.d/60-pnphelper.rules")
  string(FIND "${out}" "${entry}" at)
  if(at LESS 0)
    message(FATAL_ERROR "package lacks ${entry}:\n${out}")
  endif()
endforeach()
foreach(absent "include/osservices" "libosservices.a")
  string(FIND "${out}" "${absent}" at)
  if(NOT at LESS 0)
    message(FATAL_ERROR "the runtime package holds the dev file ${absent}")
  endif()
endforeach()

run("${DPKG_DEB}" --field "${debs}" Package)
if(NOT out STREQUAL "pnphelper\n")
  message(FATAL_ERROR "package name <${out}>")
endif()
run("${DPKG_DEB}" --control "${debs}" "${WORK}/control")
file(READ "${WORK}/control/postinst" postinst)
if(NOT postinst MATCHES "udevadm control --reload")
  message(FATAL_ERROR "postinst does not reload udev:\n${postinst}")
endif()
file(REMOVE_RECURSE "${WORK}")
