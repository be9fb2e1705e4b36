# The bad network of system tests: as a library for tests and as a program for the terminal.
velmo_library(velmo_test_lossy_relay
  SOURCES lossy_line.cpp lossy_relay.cpp
  LINKS velmo_base velmo_platform_udp)
target_include_directories(velmo_test_lossy_relay PUBLIC ${PROJECT_SOURCE_DIR}/tests)

add_executable(velmo-lossy-relay lossy_relay_main.cpp)
target_link_libraries(velmo-lossy-relay PRIVATE velmo_test_lossy_relay)
