# The desktop seam. What a program does with its debug output is decided once per process, so the
# same test runs without and with VELMO_DEBUG.
if(WIN32)
  set(desktop_probe ${CMAKE_CURRENT_LIST_DIR}/desktop_probe_windows.cpp)
else()
  set(desktop_probe ${CMAKE_CURRENT_LIST_DIR}/desktop_probe_linux.cpp)
endif()
velmo_test(desktop_quiet_contract_test
  SOURCES ${CMAKE_CURRENT_LIST_DIR}/desktop_test.cpp ${desktop_probe}
  LINKS velmo_platform_desktop)
velmo_test(desktop_debug_contract_test
  SOURCES ${CMAKE_CURRENT_LIST_DIR}/desktop_test.cpp ${desktop_probe}
  LINKS velmo_platform_desktop)
set_tests_properties(desktop_quiet_contract_test PROPERTIES
  ENVIRONMENT_MODIFICATION VELMO_DEBUG=unset:)
set_tests_properties(desktop_debug_contract_test PROPERTIES ENVIRONMENT VELMO_DEBUG=1)
