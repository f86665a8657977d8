# The osresource tool, driven as the build drives it: add, list, get.
if(TARGET osresource)
  add_test(NAME osresource.tool
    COMMAND ${CMAKE_COMMAND} -DTOOL=$<TARGET_FILE:osresource> "-DEMULATOR=${OS_EMULATOR}"
            -DWORK=${CMAKE_CURRENT_BINARY_DIR}/osresource.tool
            -P ${CMAKE_CURRENT_SOURCE_DIR}/osresource/tool_test.cmake)
endif()
