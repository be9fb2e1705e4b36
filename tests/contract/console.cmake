# The console seam with pipes and files at its ends, then with a console.
if(WIN32)
  set(console_child console_child_windows.cpp)
  set(console_typist console_typist_windows.cpp)
  # A console of Wine's is a window.
  set(console_display GUI_DISPLAY)
else()
  set(console_child console_child_linux.cpp)
  set(console_typist console_typist_linux.cpp)
  set(console_display)
endif()
velmo_test(console_contract_test
  SOURCES console_test.cpp console_child_main.cpp ${console_child}
  LINKS velmo_platform_console)
velmo_test(console_typed_contract_test
  SOURCES console_typed_test.cpp ${console_typist}
  LINKS velmo_platform_console ${console_display})
if(WIN32)
  velmo_test(wide_text_test SOURCES wide_text_test.cpp)
else()
  # What only this system has.
  velmo_test(console_signals_test
    SOURCES console_signals_test.cpp LINKS velmo_platform_console)
endif()
