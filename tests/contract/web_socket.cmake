# The web socket seam against a scripted server. Whom Wine trusts it decides once per process, so
# that the trusting program is another.
if(WIN32)
  set(web_socket_linux "")
else()
  set(web_socket_linux web_socket_linux_test.cpp)
endif()
velmo_test(velmo_web_socket_contract_test
  SOURCES web_socket_test.cpp web_socket_close_test.cpp web_socket_abort_test.cpp
    web_socket_broken_test.cpp web_socket_rules_test.cpp web_socket_support.cpp ${web_socket_linux} ${web_system}
  LINKS velmo_platform_web_socket velmo_web_script ${web_system_links}
  WEB_SERVER LABELS contract)
velmo_test(velmo_web_socket_trusted_contract_test
  SOURCES web_socket_tls_test.cpp web_socket_support.cpp ${web_system}
  LINKS velmo_platform_web_socket velmo_web_script ${web_system_links}
  WEB_SERVER LABELS contract)
