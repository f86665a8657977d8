# The install layout of the runtime component: a plain install, a stripped
# install (the resources must be appended again after the strip) and a
# staged install (DESTDIR) as a package makes it.
#   cmake -DBUILD_DIR=... -DWORK=... -DXML=... -DOSRESOURCE=... -P install.cmake
file(REMOVE_RECURSE "${WORK}")
include(${CMAKE_CURRENT_LIST_DIR}/run.cmake)
function(expect_exists)
  foreach(f ${ARGN})
    if(NOT EXISTS "${f}")
      message(FATAL_ERROR "missing: ${f}")
    endif()
  endforeach()
endfunction()
# The program carries both resources, the scanner list byte for byte.
function(expect_resources exe)
  run(${EMULATOR} "${OSRESOURCE}" get "${exe}" VERSION)
  if(NOT out STREQUAL "01000000")
    message(FATAL_ERROR "${exe}: VERSION is <${out}>")
  endif()
  run(${EMULATOR} "${OSRESOURCE}" get "${exe}" PNPHELPER)
  file(READ "${XML}" xml)
  if(NOT out STREQUAL xml)
    message(FATAL_ERROR "${exe}: PNPHELPER differs from ${XML}")
  endif()
endfunction()

# Plain install.
set(p "${WORK}/plain")
run(${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${p}" --component runtime)
expect_exists("${p}/bin/pnphelper" "${p}/bin/osresource" "${p}/lib/deviceprobe" "${p}/const.ini"
              "${p}/lib/udev/rules.d/60-pnphelper.rules" "${p}/share/man/man8/pnphelper.8"
              "${p}/share/man/man8/deviceprobe.8")
expect_resources("${p}/bin/pnphelper")
file(STRINGS "${p}/lib/udev/rules.d/60-pnphelper.rules" rules REGEX "^SUBSYSTEM")
set(expected
  "SUBSYSTEM==\"usb\", ENV{DEVTYPE}==\"usb_device\", ENV{PRODUCT}==\"40a/6020/*\", ACTION==\"add|remove\", RUN+=\"${p}/bin/pnphelper action:\$env{ACTION}\""
  "SUBSYSTEM==\"usb\", ENV{DEVTYPE}==\"usb_device\", ENV{PRODUCT}==\"40a/6021/*\", ACTION==\"add|remove\", RUN+=\"${p}/bin/pnphelper action:\$env{ACTION}\"")
if(NOT rules STREQUAL expected)
  message(FATAL_ERROR "rules:\n${rules}\nexpected:\n${expected}")
endif()
file(STRINGS "${p}/const.ini" ini)
foreach(line "[dsIdentity]" "writeable=" "Debug=0")
  list(FIND ini "${line}" at)
  if(at LESS 0)
    message(FATAL_ERROR "const.ini lacks the line <${line}>")
  endif()
endforeach()

# A prefix with a blank and udev's substitution characters: the rules quote
# the program and double '$' and '%'. A quote in the prefix cannot be
# expressed in a rule, and the install refuses it.
set(odd "${WORK}/odd dir+$%")
run(${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${odd}" --component runtime)
file(STRINGS "${odd}/lib/udev/rules.d/60-pnphelper.rules" rules REGEX "RUN")
string(FIND "${rules}" "RUN+=\"'${WORK}/odd dir+$$%%/bin/pnphelper' action:\$env{ACTION}\"" at)
if(at LESS 0)
  message(FATAL_ERROR "rules with a quoted program expected:\n${rules}")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${WORK}/it's" --component runtime
                RESULT_VARIABLE rc OUTPUT_QUIET ERROR_VARIABLE err)
if(rc EQUAL 0 OR NOT err MATCHES "udev rules cannot name a program")
  message(FATAL_ERROR "an install below <${WORK}/it's> did not fail as it should (${rc}):\n${err}")
endif()

# Stripped install: strip drops the appended table, the install appends it
# again.
set(s "${WORK}/stripped")
run(${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${s}" --component runtime --strip)
expect_resources("${s}/bin/pnphelper")
file(SIZE "${p}/bin/pnphelper" plain_size)
file(SIZE "${s}/bin/pnphelper" stripped_size)
if(NOT stripped_size LESS plain_size)
  message(FATAL_ERROR "the stripped program is not smaller (${stripped_size} >= ${plain_size})")
endif()
# The stripped program runs from its install: the sample const.ini has no
# override, so an add reads the scanner list and then has nothing to do.
run(${CMAKE_COMMAND} -E env --unset=QRB_SHGETFOLDERPATH --unset=QRB_OVERRIDEINI --unset=QRB_LOGDIR
    --unset=QRB_DEBUGDIR --unset=QRB_DEBUG ${EMULATOR} "${s}/bin/pnphelper" action:add)
file(READ "${s}/log/pnphelper.log" log)
if(NOT log MATCHES "Action completed: 0")
  message(FATAL_ERROR "the installed program did not complete its action:\n${log}")
endif()

# Staged install: the rules are also linked into the stage's /usr.
set(stage "${WORK}/stage")
run(${CMAKE_COMMAND} -E env "DESTDIR=${stage}" ${CMAKE_COMMAND} --install "${BUILD_DIR}"
    --prefix /opt/qrb/pnphelper --component runtime)
expect_exists("${stage}/opt/qrb/pnphelper/bin/pnphelper" "${stage}/opt/qrb/pnphelper/lib/deviceprobe")
expect_resources("${stage}/opt/qrb/pnphelper/bin/pnphelper")
file(READ_SYMLINK "${stage}/usr/lib/udev/rules.d/60-pnphelper.rules" link)
if(NOT link STREQUAL "/opt/qrb/pnphelper/lib/udev/rules.d/60-pnphelper.rules")
  message(FATAL_ERROR "udev link points at <${link}>")
endif()
file(STRINGS "${stage}/opt/qrb/pnphelper/lib/udev/rules.d/60-pnphelper.rules" staged REGEX "RUN")
if(NOT staged MATCHES "RUN\\+=\"/opt/qrb/pnphelper/bin/pnphelper action:")
  message(FATAL_ERROR "staged rules name the wrong program: ${staged}")
endif()
file(REMOVE_RECURSE "${WORK}")
