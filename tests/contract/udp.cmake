# The UDP seam on loopback.
velmo_test(velmo_udp_contract_test
  SOURCES udp_socket_test.cpp
  LINKS velmo_platform_udp)
if(NOT WIN32)
  velmo_test(velmo_udp_signals_test
    SOURCES udp_socket_signals_test.cpp
    LINKS velmo_platform_udp)
endif()
