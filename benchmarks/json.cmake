# The JSON scanners beside plain memmem.
add_executable(bench_json json.cpp)
target_link_libraries(bench_json PRIVATE velmo_flags velmo_json_scan)
