# What tells the scripted web server; for tests with WEB_SERVER.
velmo_library(velmo_web_script SOURCES web_script.cpp)
target_include_directories(velmo_web_script PUBLIC ${PROJECT_SOURCE_DIR}/tests)
