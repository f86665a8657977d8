# Hardening of every target with the distribution's flags: fortified libc
# calls, stack protector, position-independent executables, full RELRO and
# bind-now, as `dpkg-buildflags` gives them with all hardening features on.
# The optimisation and debug flags stay the build type's. Off under the
# sanitizers, which bring their own run-time checks; fortification needs an
# optimising build, so a Debug build goes without it.
option(OS_HARDENING "Build with the distribution's hardening flags" ON)
if(NOT OS_HARDENING OR OS_SANITIZE)
  return()
endif()

set(CMAKE_POSITION_INDEPENDENT_CODE ON)
include(CheckPIESupported)
check_pie_supported()

# Flags of one dpkg-buildflags variable, without -g, -O* and the path maps.
function(os_buildflags var fallback out)
  find_program(OS_DPKG_BUILDFLAGS dpkg-buildflags)
  set(flags "${fallback}")
  if(OS_DPKG_BUILDFLAGS)
    execute_process(COMMAND ${CMAKE_COMMAND} -E env DEB_BUILD_MAINT_OPTIONS=hardening=+all
                            ${OS_DPKG_BUILDFLAGS} --get ${var}
                    OUTPUT_VARIABLE flags OUTPUT_STRIP_TRAILING_WHITESPACE)
  endif()
  separate_arguments(flags UNIX_COMMAND "${flags}")
  list(FILTER flags EXCLUDE REGEX "^-g|^-O|^-f(file|debug|macro)-prefix-map=")
  set(${out} "${flags}" PARENT_SCOPE)
endfunction()

os_buildflags(CPPFLAGS "-D_FORTIFY_SOURCE=2" os_cppflags)
os_buildflags(CXXFLAGS "-fstack-protector-strong -Wformat -Werror=format-security" os_cxxflags)
os_buildflags(LDFLAGS "-Wl,-z,relro -Wl,-z,now" os_ldflags)
add_compile_options(${os_cxxflags} "$<$<NOT:$<CONFIG:Debug>>:${os_cppflags}>")
add_link_options(${os_ldflags})
