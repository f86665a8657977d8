# Generates the udev rules template from the scanner list.
#   cmake -DXML=pnphelper.xml -DOUT=60-pnphelper.rules.in -P udevrules.cmake
# One rule per id of the <scanner> section; the program is left as
# @PNPHELPER_PROGRAM@ and filled in (quoted when need be) when the rules are
# installed, since the install prefix is only known then.
if(NOT XML OR NOT OUT)
  message(FATAL_ERROR "udevrules.cmake: XML and OUT must be given")
endif()
file(READ "${XML}" text)
string(FIND "${text}" "<scanner>" begin)
string(FIND "${text}" "</scanner>" end)
if(begin LESS 0 OR end LESS begin)
  message(FATAL_ERROR "${XML}: no <scanner> section")
endif()
string(SUBSTRING "${text}" ${begin} ${end}-${begin} section)
string(REGEX MATCHALL "<id>[^<]*</id>" ids "${section}")
if(NOT ids)
  message(FATAL_ERROR "${XML}: the <scanner> section lists no id")
endif()

# "0x040A" -> "40a": lower case, no leading zeros, as udev's PRODUCT has it.
function(udev_hex digits out)
  math(EXPR value "0x${digits}" OUTPUT_FORMAT HEXADECIMAL)
  string(SUBSTRING "${value}" 2 -1 value)
  string(TOLOWER "${value}" value)
  if(value STREQUAL "0")
    message(FATAL_ERROR "${XML}: zero identifier in ${id}")
  endif()
  set(${out} "${value}" PARENT_SCOPE)
endfunction()

set(rules "# udev rules of pnphelper, generated from pnphelper.xml: run the helper\n")
string(APPEND rules "# when a scanner it serves is attached or detached.\n")
foreach(id IN LISTS ids)
  if(NOT id MATCHES "VID_([0-9A-Fa-f]+)")
    message(FATAL_ERROR "${XML}: VID_ missing in ${id}")
  endif()
  udev_hex(${CMAKE_MATCH_1} vid)
  if(NOT id MATCHES "PID_([0-9A-Fa-f]+)")
    message(FATAL_ERROR "${XML}: PID_ missing in ${id}")
  endif()
  udev_hex(${CMAKE_MATCH_1} pid)
  string(APPEND rules "SUBSYSTEM==\"usb\", ENV{DEVTYPE}==\"usb_device\", ENV{PRODUCT}==\"${vid}/${pid}/*\", "
                      "ACTION==\"add|remove\", RUN+=\"@PNPHELPER_PROGRAM@ action:\$env{ACTION}\"\n")
endforeach()
file(WRITE "${OUT}" "${rules}")
