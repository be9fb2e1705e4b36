# What the service keeps, and the REST half: its answers without sockets, the server on loopback, and
# the program with the client's own calls.
pkg_check_modules(SQLITE REQUIRED IMPORTED_TARGET sqlite3)

velmo_test(velmo_service_store_test
  SOURCES store_test.cpp
  LINKS velmo_service_store)

velmo_test(velmo_service_rest_test
  SOURCES rest_auth_test.cpp rest_chats_test.cpp rest_control_bytes_test.cpp rest_google_test.cpp
          rest_hostile_test.cpp rest_invitations_test.cpp rest_log_test.cpp
          rest_passwords_test.cpp rest_rooms_test.cpp rest_small_parts_test.cpp
          rest_spaces_test.cpp
  LINKS velmo_service_rest velmo_service_demo)

velmo_test(velmo_service_rest_server_test
  SOURCES rest_server_test.cpp rest_server_limits_test.cpp
  LINKS velmo_service_rest_server velmo_test_rest_client)

# The program, as the client's own calls reach and read it.
velmo_test(velmo_service_backend_test
  SOURCES rest_backend_test.cpp ../backend/fake_browser.cpp
  LINKS velmo_chat velmo_backend velmo_platform_web velmo_platform_browser_address
        velmo_platform_desktop velmo_fake_web_socket velmo_test_rest_client)
target_compile_definitions(velmo_service_backend_test PRIVATE
  VELMO_SERVICE_PROGRAM="$<TARGET_FILE:velmo-service>")
add_dependencies(velmo_service_backend_test velmo-service)
# libsoup and GIO have threads whose locks ThreadSanitizer does not see.
set_tests_properties(velmo_service_backend_test PROPERTIES ENVIRONMENT_MODIFICATION
  TSAN_OPTIONS=path_list_append:ignore_noninstrumented_modules=1)

velmo_test(velmo_service_durability_test
  SOURCES rest_durability_test.cpp
  LINKS velmo_test_rest_client PkgConfig::SQLITE)
target_compile_definitions(velmo_service_durability_test PRIVATE
  VELMO_SERVICE_PROGRAM="$<TARGET_FILE:velmo-service>")
add_dependencies(velmo_service_durability_test velmo-service)
