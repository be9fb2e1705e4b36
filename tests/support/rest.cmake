# A REST client for tests of the service, and the program that loads a running service with many.
velmo_library(velmo_test_rest_client SOURCES rest_client.cpp)
target_include_directories(velmo_test_rest_client PUBLIC ${PROJECT_SOURCE_DIR}/tests)

add_executable(velmo-rest-load rest_load_main.cpp)
target_link_libraries(velmo-rest-load PRIVATE velmo_test_rest_client Threads::Threads)
