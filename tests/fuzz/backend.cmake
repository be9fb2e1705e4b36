# What the client reads from a backend: JSON, beside the plain transcription of the scanners' rules,
# addresses, and answers to the REST calls.
foreach(group fields walk write)
  velmo_fuzz(backend_json_${group}_fuzz
    SOURCES backend_json_${group}_fuzz.cpp ../support/reference_json_scan.cpp
    LINKS velmo_json_scan)
endforeach()
velmo_fuzz(backend_endpoints_fuzz
  SOURCES backend_endpoints_fuzz.cpp ${PROJECT_SOURCE_DIR}/src/backend/endpoints.cpp
  LINKS velmo_base)
target_compile_definitions(backend_endpoints_fuzz PRIVATE VELMO_BACKEND_URL="${VELMO_BACKEND_URL}")
velmo_fuzz(backend_answers_fuzz
  SOURCES backend_answers_fuzz.cpp ../unit/backend/hostile_answers.cpp ../unit/backend/fake_browser.cpp
    ../support/fake_web_exchange.cpp ../support/fake_clock.cpp
  LINKS velmo_backend velmo_platform_browser_address)
