# The web exchange seam in memory: link it in place of velmo_platform_web, after what uses it.
velmo_library(velmo_fake_web SOURCES fake_web_exchange.cpp LINKS velmo_base)
target_include_directories(velmo_fake_web PUBLIC ${PROJECT_SOURCE_DIR}/tests)

# The web socket seam in memory: link it in place of velmo_platform_web_socket, after what uses it.
velmo_library(velmo_fake_web_socket SOURCES fake_web_socket.cpp LINKS velmo_base)
target_include_directories(velmo_fake_web_socket PUBLIC ${PROJECT_SOURCE_DIR}/tests)
