# The JSON scanners, also held to a plain transcription of their rules, and the endpoints: these with
# an address of the test's own built in.
velmo_test(backend_json_test
  SOURCES
    json_fields_test.cpp json_ranges_test.cpp json_walker_test.cpp json_writing_test.cpp
    json_reference_test.cpp ${PROJECT_SOURCE_DIR}/tests/support/reference_json_scan.cpp
  LINKS velmo_json_scan velmo_allocation_counter)
velmo_test(backend_endpoints_test
  SOURCES
    endpoints_test.cpp ${PROJECT_SOURCE_DIR}/src/backend/endpoints.cpp
    ${PROJECT_SOURCE_DIR}/src/backend/backend_address.cpp
  LINKS velmo_base)
target_compile_definitions(backend_endpoints_test PRIVATE
  VELMO_BACKEND_URL="https://talk.velmo.test:8443")
