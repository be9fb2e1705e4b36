# One request of the client from its call to its answer; ./bench sets curl beside it.
add_executable(bench_request request.cpp)
target_link_libraries(bench_request PRIVATE velmo_flags velmo_backend velmo_platform_web)
