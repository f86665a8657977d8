# End-to-end tests of pnphelper and deviceprobe: they run the built
# programs, so they learn their paths here and build after them.
if(TARGET test_pnphelper_e2e AND TARGET pnphelper)
  # Preloaded to make the helper object's allocation fail.
  add_library(pnphelper_failnew SHARED ${CMAKE_CURRENT_SOURCE_DIR}/package/failnew.cpp)
  target_include_directories(pnphelper_failnew PRIVATE ${PROJECT_SOURCE_DIR}/pnphelper ${PROJECT_SOURCE_DIR}/osservices)
  # The program is linked statically, where a preloaded operator new cannot
  # reach; this twin of it links the C++ runtime as a shared library.
  add_executable(pnphelper_sharedcxx ${PROJECT_SOURCE_DIR}/pnphelper/pnphelper.cpp ${PROJECT_SOURCE_DIR}/pnphelper/oslinux.cpp)
  target_link_libraries(pnphelper_sharedcxx PRIVATE osservices)
  target_compile_definitions(test_pnphelper_e2e PRIVATE
    PNPHELPER_BIN="$<TARGET_FILE:pnphelper>"
    PNPHELPER_SHAREDCXX_BIN="$<TARGET_FILE:pnphelper_sharedcxx>"
    OSRESOURCE_BIN="$<TARGET_FILE:osresource>"
    FAILNEW_LIB="$<TARGET_FILE:pnphelper_failnew>")
  add_dependencies(test_pnphelper_e2e pnphelper pnphelper_sharedcxx osresource pnphelper_failnew)
endif()
if(TARGET test_deviceprobe AND TARGET deviceprobe)
  target_compile_definitions(test_deviceprobe PRIVATE DEVICEPROBE_BIN="$<TARGET_FILE:deviceprobe>")
  add_dependencies(test_deviceprobe deviceprobe)
endif()

# The dev package: another program finds it with find_package(osservices).
set(OS_CONSUMER_FLAGS "")
if(OS_BUILD_M32)
  string(APPEND OS_CONSUMER_FLAGS " -m32")
endif()
if(OS_SANITIZE)
  string(APPEND OS_CONSUMER_FLAGS " -fsanitize=address,undefined")
endif()
add_test(NAME OsServicesPackage.FindPackageAndLink
  COMMAND ${CMAKE_COMMAND} -DBUILD_DIR=${CMAKE_BINARY_DIR} -DWORK=${CMAKE_CURRENT_BINARY_DIR}/package-consumer
          -DSOURCE=${CMAKE_CURRENT_SOURCE_DIR}/package -DREADME=${PROJECT_SOURCE_DIR}/README.md
          "-DFLAGS=${OS_CONSUMER_FLAGS}" "-DEMULATOR=${OS_EMULATOR}"
          -P ${CMAKE_CURRENT_SOURCE_DIR}/package/consumer.cmake)
set_tests_properties(OsServicesPackage.FindPackageAndLink PROPERTIES TIMEOUT 300 RUN_SERIAL TRUE)

# The install layout and the Debian package of the program.
if(TARGET pnphelper)
  add_test(NAME Packaging.InstallLayout
    COMMAND ${CMAKE_COMMAND} -DBUILD_DIR=${CMAKE_BINARY_DIR} -DWORK=${CMAKE_CURRENT_BINARY_DIR}/install-layout
            -DXML=${PROJECT_SOURCE_DIR}/pnphelper/pnphelper.xml -DOSRESOURCE=$<TARGET_FILE:osresource>
            "-DEMULATOR=${OS_EMULATOR}"
            -P ${CMAKE_CURRENT_SOURCE_DIR}/package/install.cmake)
  find_program(OS_DPKG dpkg)
  if(OS_DPKG)
    find_program(OS_LINTIAN lintian)
    find_program(OS_MANDOC mandoc)
    find_program(OS_FAKEROOT fakeroot)
    add_test(NAME Packaging.DebianPackage
      COMMAND ${CMAKE_COMMAND} -DBUILD_DIR=${CMAKE_BINARY_DIR} -DWORK=${CMAKE_CURRENT_BINARY_DIR}/deb
              -DCPACK=${CMAKE_CPACK_COMMAND} -DDPKG=${OS_DPKG} -DLINTIAN=${OS_LINTIAN} -DMANDOC=${OS_MANDOC}
              -DFAKEROOT=${OS_FAKEROOT} -DOSRESOURCE=$<TARGET_FILE:osresource> "-DEMULATOR=${OS_EMULATOR}"
              -P ${CMAKE_CURRENT_SOURCE_DIR}/package/deb.cmake)
    # cpack installs the build into its own stage; one at a time.
    set_tests_properties(Packaging.DebianPackage Packaging.InstallLayout PROPERTIES RUN_SERIAL TRUE TIMEOUT 300)
  endif()
endif()
