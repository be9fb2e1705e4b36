# The file seam: opening files, and replacing them whole, with children that are killed at it.
velmo_test(file_contract_test SOURCES file_test.cpp LINKS velmo_platform_file)
if(WIN32)
  set(file_system_sources console_child_windows.cpp file_replace_windows_test.cpp)
else()
  set(file_system_sources console_child_linux.cpp file_replace_linux_test.cpp)
  velmo_test(file_flush_contract_test
    SOURCES file_flush_linux_test.cpp
    LINKS velmo_platform_file)
  target_link_options(file_flush_contract_test PRIVATE
    LINKER:--wrap=write LINKER:--wrap=fsync LINKER:--wrap=rename)
endif()
velmo_test(file_replace_contract_test
  SOURCES file_replace_test.cpp file_children.cpp ${file_system_sources}
  LINKS velmo_platform_file
  TIMEOUT 300)
if(WIN32)
  # Wine has names beyond ASCII only where the locale has them.
  set_tests_properties(file_contract_test file_replace_contract_test PROPERTIES
    ENVIRONMENT LC_ALL=C.UTF-8)
endif()
