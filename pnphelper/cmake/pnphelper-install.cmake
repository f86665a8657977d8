# Install-time steps of pnphelper, included by install(CODE) after the
# program itself is installed (and stripped, when the install strips):
#  - append the resources PNPHELPER and VERSION again when the installed
#    file lacks them (strip drops everything after the ELF image);
#  - write the udev rules with the real install prefix;
#  - in a staged install (DESTDIR, as for a package) link the rules into
#    /usr/lib/udev/rules.d below the stage. A plain install never writes
#    outside its prefix.
# Expects PNPHELPER_OSRESOURCE (run under PNPHELPER_EMULATOR when that is
# not empty), PNPHELPER_XML, PNPHELPER_VERSION_FILE and
# PNPHELPER_RULES_IN.
set(_root "$ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}")
set(_exe "${_root}/bin/pnphelper")

# The resource directory is the file's last 3,584 bytes; its last entry
# starts with the marker "@!@qrb@!@".
function(pnphelper_has_resources file out)
  set(${out} FALSE PARENT_SCOPE)
  file(SIZE "${file}" size)
  if(size LESS 3584)
    return()
  endif()
  math(EXPR offset "${size} - 56")
  file(READ "${file}" marker OFFSET ${offset} LIMIT 9)
  if(marker STREQUAL "@!@qrb@!@")
    set(${out} TRUE PARENT_SCOPE)
  endif()
endfunction()

pnphelper_has_resources("${_exe}" _has)
if(NOT _has)
  message(STATUS "Appending resources: ${_exe}")
  foreach(_pair "PNPHELPER;${PNPHELPER_XML}" "VERSION;${PNPHELPER_VERSION_FILE}")
    list(GET _pair 0 _name)
    list(GET _pair 1 _data)
    execute_process(COMMAND ${PNPHELPER_EMULATOR} "${PNPHELPER_OSRESOURCE}" add "${_exe}" ${_name} "${_data}" RESULT_VARIABLE _rc)
    if(NOT _rc EQUAL 0)
      message(FATAL_ERROR "osresource add ${_name} failed (${_rc}) on ${_exe}")
    endif()
  endforeach()
endif()

set(_rules_dir "${_root}/lib/udev/rules.d")
file(READ "${PNPHELPER_RULES_IN}" _rules)
string(REPLACE "@PNPHELPER_PREFIX@" "${CMAKE_INSTALL_PREFIX}" _rules "${_rules}")
message(STATUS "Installing: ${_rules_dir}/60-pnphelper.rules")
file(WRITE "${_rules_dir}/60-pnphelper.rules" "${_rules}")

if(NOT "$ENV{DESTDIR}" STREQUAL "")
  set(_link_dir "$ENV{DESTDIR}/usr/lib/udev/rules.d")
  file(MAKE_DIRECTORY "${_link_dir}")
  message(STATUS "Installing: ${_link_dir}/60-pnphelper.rules")
  file(CREATE_LINK "${CMAKE_INSTALL_PREFIX}/lib/udev/rules.d/60-pnphelper.rules"
       "${_link_dir}/60-pnphelper.rules" SYMBOLIC)
endif()
