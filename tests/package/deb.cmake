# The Debian package as an administrator meets it: lintian finds nothing
# beyond the tags the package overrides (those of any add-on below /opt);
# installed into a scratch root (the real system is untouched) it has a
# stripped program that still carries its resources, readable manual pages
# linked into /usr, a log directory owned by root; an edited const.ini
# survives a reinstall; a purge leaves nothing behind.
#   cmake -DBUILD_DIR=... -DWORK=... -DCPACK=... -DDPKG=... -DLINTIAN=...
#         -DMANDOC=... -DFAKEROOT=... -DOSRESOURCE=... -P deb.cmake
file(REMOVE_RECURSE "${WORK}")
include(${CMAKE_CURRENT_LIST_DIR}/run.cmake)
foreach(tool LINTIAN MANDOC)
  if(NOT ${tool})
    message(FATAL_ERROR "${tool} not found; .ci/install-deps installs it")
  endif()
endforeach()

run("${CPACK}" -G DEB --config "${BUILD_DIR}/CPackConfig.cmake" -B "${WORK}")
file(GLOB deb "${WORK}/pnphelper_*.deb")
list(LENGTH deb count)
if(NOT count EQUAL 1)
  message(FATAL_ERROR "expected one package in ${WORK}, found: ${deb}")
endif()

# Info tags are shown too, for the hardening ones (fortify, bind-now ...).
run("${LINTIAN}" --info --tag-display-limit 0 --fail-on error,warning "${deb}")
if(out MATCHES "hardening-")
  message(FATAL_ERROR "lintian misses hardening:\n${out}")
endif()

# dpkg on a scratch root; the maintainer scripts run outside a chroot and
# find the root in DPKG_ROOT. Without root rights fakeroot stands in.
set(root "${WORK}/root")
set(home "${root}/opt/qrb/pnphelper")
set(ini "${root}/etc/opt/qrb/pnphelper/const.ini")
file(MAKE_DIRECTORY "${root}/var/lib/dpkg/info" "${root}/var/lib/dpkg/updates")
file(TOUCH "${root}/var/lib/dpkg/status" "${WORK}/fakeroot.state")
execute_process(COMMAND id -u OUTPUT_VARIABLE uid OUTPUT_STRIP_TRAILING_WHITESPACE)
set(as_root "")
if(NOT uid STREQUAL "0")
  set(as_root "${FAKEROOT}" -i "${WORK}/fakeroot.state" -s "${WORK}/fakeroot.state")
endif()
function(dpkg)
  run(${as_root} "${DPKG}" "--root=${root}" "--log=${WORK}/dpkg.log" --force-script-chrootless ${ARGN})
endfunction()

dpkg(--force-depends --force-architecture --install "${deb}")
run(${EMULATOR} "${OSRESOURCE}" list "${home}/bin/pnphelper")
if(NOT out MATCHES "\tPNPHELPER\t" OR NOT out MATCHES "\tVERSION\t")
  message(FATAL_ERROR "the installed program lost its resources:\n${out}")
endif()
foreach(link /usr/lib/udev/rules.d/60-pnphelper.rules /usr/share/man/man8/pnphelper.8.gz
             /usr/share/man/man8/deviceprobe.8.gz /opt/qrb/pnphelper/const.ini)
  file(READ_SYMLINK "${root}${link}" target)
  if(NOT EXISTS "${root}${target}")
    message(FATAL_ERROR "${link} -> <${target}> leads nowhere")
  endif()
  if(link MATCHES "/man8/")
    run("${MANDOC}" -T lint -W warning "${root}${target}")
  endif()
endforeach()
if(EXISTS "${home}/include" OR EXISTS "${home}/lib/libosservices.a")
  message(FATAL_ERROR "the runtime package holds the dev files")
endif()
run(${as_root} stat -c "%U:%G %a" "${home}/log")
if(NOT out STREQUAL "root:root 755\n")
  message(FATAL_ERROR "log directory is ${out}")
endif()

# An administrator's edit of the conffile survives a reinstall.
file(READ "${ini}" text)
string(REPLACE "\nwriteable=\n" "\nwriteable=/srv/scan\n" text "${text}")
file(WRITE "${ini}" "${text}")
dpkg(--force-depends --force-architecture --install "${deb}")
file(STRINGS "${ini}" kept REGEX "^writeable=")
if(NOT kept STREQUAL "writeable=/srv/scan")
  message(FATAL_ERROR "reinstall turned the edited const.ini into <${kept}>")
endif()

# Purge takes the log with it and leaves no home behind.
file(WRITE "${home}/log/pnphelper.log" "a line of the log\n")
dpkg(--purge pnphelper)
foreach(dir opt etc usr)
  if(EXISTS "${root}/${dir}")
    file(GLOB_RECURSE left LIST_DIRECTORIES true "${root}/${dir}/*")
    message(FATAL_ERROR "left after purge: ${root}/${dir} ${left}")
  endif()
endforeach()
file(REMOVE_RECURSE "${WORK}")
