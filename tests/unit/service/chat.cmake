# The chat half: what it says without sockets, its web sockets byte by byte, the server on loopback,
# and the program.
velmo_test(velmo_service_chat_test
  SOURCES chat_messages_test.cpp chat_sessions_test.cpp chat_streams_test.cpp
  LINKS velmo_service_chat velmo_service_rest)

velmo_test(velmo_service_web_socket_test
  SOURCES web_socket_test.cpp
  LINKS velmo_service_chat)

velmo_test(velmo_service_chat_server_test
  SOURCES chat_server_test.cpp chat_server_limits_test.cpp
  LINKS velmo_service_chat_server velmo_service_rest_server velmo_test_rest_client)
# libsoup and GIO have threads whose locks ThreadSanitizer does not see.
set_tests_properties(velmo_service_chat_server_test PROPERTIES ENVIRONMENT_MODIFICATION
  TSAN_OPTIONS=path_list_append:ignore_noninstrumented_modules=1)

# The program.
velmo_test(velmo_service_chat_program_test
  SOURCES chat_program_test.cpp
  LINKS velmo_test_rest_client)
target_compile_definitions(velmo_service_chat_program_test PRIVATE
  VELMO_SERVICE_PROGRAM="$<TARGET_FILE:velmo-service>")
add_dependencies(velmo_service_chat_program_test velmo-service)
