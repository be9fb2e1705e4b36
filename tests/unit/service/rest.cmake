# What the service keeps, and the REST half: its answers without sockets, as the client's scanners
# read them, and the server on loopback.
pkg_check_modules(SQLITE REQUIRED IMPORTED_TARGET sqlite3)

velmo_test(velmo_service_store_test
  SOURCES store_test.cpp
  LINKS velmo_service_store)

velmo_test(velmo_service_rest_test
  SOURCES rest_auth_test.cpp rest_chats_test.cpp rest_google_test.cpp rest_hostile_test.cpp
          rest_invitations_test.cpp rest_rooms_test.cpp rest_scan_test.cpp rest_small_parts_test.cpp
          rest_spaces_test.cpp
  LINKS velmo_service_rest velmo_service_demo velmo_json_scan)

velmo_test(velmo_service_rest_server_test
  SOURCES rest_server_test.cpp
  LINKS velmo_service_rest_server velmo_test_rest_client)

velmo_test(velmo_service_durability_test
  SOURCES rest_durability_test.cpp
  LINKS velmo_test_rest_client PkgConfig::SQLITE)
target_compile_definitions(velmo_service_durability_test PRIVATE
  VELMO_SERVICE_PROGRAM="$<TARGET_FILE:velmo-service>")
add_dependencies(velmo_service_durability_test velmo-service)
