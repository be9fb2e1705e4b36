# The HTTP transport and the REST calls over a scripted exchange.
velmo_test(backend_calls_test
  SOURCES http_transport_test.cpp auth_api_test.cpp auth_google_test.cpp spaces_api_test.cpp
          spaces_tables_test.cpp hostile_answers_test.cpp hostile_answers.cpp calls_fixture.cpp fake_browser.cpp
  LINKS velmo_backend velmo_platform_browser_address velmo_fake_web velmo_fake_clock)
velmo_test(backend_http_block_test
  SOURCES http_block_test.cpp realloc_record.cpp
  LINKS velmo_backend velmo_fake_web)
target_link_options(backend_http_block_test PRIVATE LINKER:--wrap=realloc)
