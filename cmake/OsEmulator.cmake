# Decides how the 32-bit build runs its programs. A trivial program is built
# for the target and run; when the kernel refuses it ("Exec format error"),
# qemu-i386 from the package qemu-user becomes CMAKE_CROSSCOMPILING_EMULATOR,
# which CTest and test discovery use, and OS_EMULATOR, which the build's own
# custom commands and scripted tests put in front of a built program.
set(_probe_dir ${CMAKE_BINARY_DIR}/CMakeFiles/os_emulator_probe)
file(WRITE ${_probe_dir}/probe.c "int main(void) { return 0; }\n")
try_run(_probe_run _probe_compile ${_probe_dir} ${_probe_dir}/probe.c)
if(NOT _probe_compile)
  message(FATAL_ERROR "cannot build a 32-bit program (apt-get install g++-multilib)")
endif()
if(_probe_run EQUAL 0)
  message(STATUS "32-bit programs run natively")
else()
  find_program(OS_QEMU_I386 qemu-i386)
  if(NOT OS_QEMU_I386)
    message(FATAL_ERROR "this kernel does not run 32-bit programs and qemu-i386 is missing (apt-get install qemu-user)")
  endif()
  message(STATUS "32-bit programs run under ${OS_QEMU_I386}")
  set(OS_EMULATOR ${OS_QEMU_I386})
  set(CMAKE_CROSSCOMPILING_EMULATOR ${OS_QEMU_I386})
endif()
