# Install-time steps of pnphelper, included by install(CODE) after the
# program itself is installed (and stripped, when the install strips):
#  - append the resources PNPHELPER and VERSION again when the installed
#    file lacks them (strip drops everything after the ELF image);
#  - write the udev rules with the real install prefix;
#  - in a staged install (DESTDIR, as for a package) place what the system
#    must find outside the home: the rules and the manual pages linked into
#    /usr, const.ini moved to /etc/opt (the home keeps a link to it), and
#    the package's copyright, changelog and lintian overrides. A plain
#    install never writes outside its prefix.
# Expects PNPHELPER_OSRESOURCE (run under PNPHELPER_EMULATOR when that is
# not empty), PNPHELPER_XML, PNPHELPER_VERSION_FILE,
# PNPHELPER_RULES_IN and PNPHELPER_PACKAGING (the packaging sources).
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

# The program as a udev RUN key holds it: quoted when the path has
# characters outside [A-Za-z0-9/._+-], with udev's substitution characters
# '$' and '%' doubled. A path udev cannot quote is refused.
function(pnphelper_udev_program path out)
  if(path MATCHES "^[A-Za-z0-9/._+-]+$")
    set(${out} "${path}" PARENT_SCOPE)
    return()
  endif()
  if(path MATCHES "['\"\\\n]")
    message(FATAL_ERROR "udev rules cannot name a program below <${path}>")
  endif()
  string(REPLACE "$" "$$" path "${path}")
  string(REPLACE "%" "%%" path "${path}")
  set(${out} "'${path}'" PARENT_SCOPE)
endfunction()

set(_rules_dir "${_root}/lib/udev/rules.d")
file(READ "${PNPHELPER_RULES_IN}" _rules)
pnphelper_udev_program("${CMAKE_INSTALL_PREFIX}/bin/pnphelper" _program)
string(REPLACE "@PNPHELPER_PROGRAM@" "${_program}" _rules "${_rules}")
message(STATUS "Installing: ${_rules_dir}/60-pnphelper.rules")
file(WRITE "${_rules_dir}/60-pnphelper.rules" "${_rules}")

if("$ENV{DESTDIR}" STREQUAL "")
  return()
endif()

# link -> target, both absolute paths of the installed system.
function(pnphelper_link target link)
  get_filename_component(_dir "$ENV{DESTDIR}${link}" DIRECTORY)
  file(MAKE_DIRECTORY "${_dir}")
  message(STATUS "Installing: $ENV{DESTDIR}${link}")
  file(CREATE_LINK "${target}" "$ENV{DESTDIR}${link}" SYMBOLIC)
endfunction()

# Compresses src into dst as Debian wants it: best compression, no name or
# time stamp in the header.
function(pnphelper_gzip src dst)
  message(STATUS "Installing: ${dst}")
  execute_process(COMMAND gzip -9nc "${src}" OUTPUT_FILE "${dst}" RESULT_VARIABLE _rc)
  if(NOT _rc EQUAL 0)
    message(FATAL_ERROR "gzip ${src} failed (${_rc})")
  endif()
endfunction()

pnphelper_link("${CMAKE_INSTALL_PREFIX}/lib/udev/rules.d/60-pnphelper.rules" /usr/lib/udev/rules.d/60-pnphelper.rules)
foreach(_page pnphelper.8 deviceprobe.8)
  set(_man "${_root}/share/man/man8/${_page}")
  pnphelper_gzip("${_man}" "${_man}.gz")
  file(REMOVE "${_man}")
  pnphelper_link("${CMAKE_INSTALL_PREFIX}/share/man/man8/${_page}.gz" /usr/share/man/man8/${_page}.gz)
endforeach()

# Configuration of an add-on below /opt lives in /etc/opt (FHS 3.7.4); the
# package marks it as a conffile, so an administrator's edits are kept.
set(_etc "/etc${CMAKE_INSTALL_PREFIX}")
file(MAKE_DIRECTORY "$ENV{DESTDIR}${_etc}")
message(STATUS "Installing: $ENV{DESTDIR}${_etc}/const.ini")
file(RENAME "${_root}/const.ini" "$ENV{DESTDIR}${_etc}/const.ini")
pnphelper_link("${_etc}/const.ini" "${CMAKE_INSTALL_PREFIX}/const.ini")

# file(INSTALL) puts DESTDIR in front of the destination itself.
file(INSTALL "${PNPHELPER_PACKAGING}/copyright" DESTINATION /usr/share/doc/pnphelper)
file(INSTALL "${PNPHELPER_PACKAGING}/lintian-overrides" DESTINATION /usr/share/lintian/overrides RENAME pnphelper)
pnphelper_gzip("${PNPHELPER_PACKAGING}/changelog" "$ENV{DESTDIR}/usr/share/doc/pnphelper/changelog.gz")
