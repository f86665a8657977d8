# Runs the osresource tool against a scratch file and checks its output and
# exit statuses. Arguments: -DTOOL=<path of osresource> -DWORK=<scratch dir>,
# -DEMULATOR=<program that runs TOOL, or empty>.
cmake_minimum_required(VERSION 3.20)

file(REMOVE_RECURSE ${WORK})
file(MAKE_DIRECTORY ${WORK})
set(TAB "\t")

# run(<expected exit status> <out var> <err var> args...)
function(run expected outvar errvar)
  execute_process(COMMAND ${EMULATOR} ${TOOL} ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc STREQUAL "${expected}")
    message(FATAL_ERROR "osresource ${ARGN}: exit ${rc}, expected ${expected}\nstdout: ${out}\nstderr: ${err}")
  endif()
  set(${outvar} "${out}" PARENT_SCOPE)
  set(${errvar} "${err}" PARENT_SCOPE)
endfunction()

function(expect_equal what actual expected)
  if(NOT "${actual}" STREQUAL "${expected}")
    message(FATAL_ERROR "${what}:\n  got      <${actual}>\n  expected <${expected}>")
  endif()
endfunction()

# A program stand-in of 12,000 bytes (more than two pages), and the blocks.
string(REPEAT "0123456789" 1200 image)
file(WRITE ${WORK}/program "${image}")
file(WRITE ${WORK}/scanners.xml "<pnphelper><scanner><id>USB\\VID_040A&PID_6020</id></scanner></pnphelper>")
file(WRITE ${WORK}/version.txt "00020000")

file(SIZE ${WORK}/scanners.xml n1)
math(EXPR at1 "12000 + ${n1}")

run(0 out err add ${WORK}/program PNPHELPER ${WORK}/scanners.xml)
run(0 out err add ${WORK}/program VERSION ${WORK}/version.txt)
run(0 out err list ${WORK}/program)
expect_equal("list" "${out}" "62${TAB}PNPHELPER${TAB}12000${TAB}${n1}\n61${TAB}VERSION${TAB}${at1}${TAB}8\n")
run(0 out err get ${WORK}/program pnphelper)
file(READ ${WORK}/scanners.xml scanners)
expect_equal("get" "${out}" "${scanners}")

# Failures: one line on stderr and exit 1.
run(1 out err get ${WORK}/program MISSING)
string(REGEX MATCHALL "\n" lines "${err}")
list(LENGTH lines count)
expect_equal("one error line" "${count}" "1")
run(1 out err add ${WORK}/nofile X ${WORK}/version.txt)
run(1 out err add ${WORK}/program X ${WORK}/nodata)
run(1 out err add ${WORK}/program NAME_OF_THIRTY_TWO_CHARACTERS_XX ${WORK}/version.txt)
run(1 out err list ${WORK}/nofile)
# A file without a table lists nothing.
file(WRITE ${WORK}/plain "${image}")
run(0 out err list ${WORK}/plain)
expect_equal("list of a plain file" "${out}" "")

# Usage errors exit 2 with the usage text; --help exits 0.
run(2 out err)
string(FIND "${err}" "usage: osresource list FILE" pos)
if(pos LESS 0)
  message(FATAL_ERROR "usage text missing: ${err}")
endif()
run(2 out err get ${WORK}/program)
run(2 out err frobnicate ${WORK}/program)
run(0 out err --help)
string(FIND "${out}" "osresource add FILE NAME DATAFILE" pos)
if(pos LESS 0)
  message(FATAL_ERROR "--help text missing: ${out}")
endif()
