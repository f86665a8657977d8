# End-to-end tests of pnphelper and deviceprobe: they run the built
# programs, so they learn their paths here and build after them.
if(TARGET test_pnphelper_e2e AND TARGET pnphelper)
  target_compile_definitions(test_pnphelper_e2e PRIVATE
    PNPHELPER_BIN="$<TARGET_FILE:pnphelper>"
    OSRESOURCE_BIN="$<TARGET_FILE:osresource>")
  add_dependencies(test_pnphelper_e2e pnphelper osresource)
endif()
if(TARGET test_deviceprobe AND TARGET deviceprobe)
  target_compile_definitions(test_deviceprobe PRIVATE DEVICEPROBE_BIN="$<TARGET_FILE:deviceprobe>")
  add_dependencies(test_deviceprobe deviceprobe)
endif()
