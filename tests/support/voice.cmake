# The fake clock, and the scripted network in place of velmo_platform_udp.
velmo_library(velmo_fake_clock SOURCES fake_clock.cpp LINKS velmo_base)
target_include_directories(velmo_fake_clock PUBLIC ${PROJECT_SOURCE_DIR}/tests)

velmo_library(velmo_fake_udp SOURCES fake_udp_socket.cpp LINKS velmo_fake_clock)

# Counts allocations; a program that links it and uses it has its operator new.
velmo_library(velmo_allocation_counter SOURCES allocation_counter.cpp)
target_include_directories(velmo_allocation_counter PUBLIC ${PROJECT_SOURCE_DIR}/tests)
