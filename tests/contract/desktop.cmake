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

# The user's folder, and the browser: the test program itself.
if(WIN32)
  set(desktop_folder_test desktop_folder_windows_test.cpp)
  set(browser_sources browser_probe_windows.cpp console_child_windows.cpp)
else()
  set(desktop_folder_test desktop_folder_linux_test.cpp)
  set(browser_sources browser_probe_linux.cpp console_child_linux.cpp)
endif()
velmo_test(desktop_folder_contract_test
  SOURCES ${desktop_folder_test} LINKS velmo_platform_desktop)
velmo_test(browser_contract_test
  SOURCES browser_test.cpp ${browser_sources} LINKS velmo_platform_browser velmo_platform_console)
if(WIN32)
  # Wine has characters beyond ASCII only where the locale has them.
  set_tests_properties(browser_contract_test PROPERTIES ENVIRONMENT LC_ALL=C.UTF-8)
endif()
