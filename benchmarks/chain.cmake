# The processing chain beside the plain transcription of its formulas and beside speexdsp.
pkg_check_modules(SPEEXDSP REQUIRED IMPORTED_TARGET speexdsp)
add_executable(bench_chain
  chain.cpp chain_speech.cpp ${PROJECT_SOURCE_DIR}/tests/support/reference_chain.cpp)
target_include_directories(bench_chain PRIVATE ${PROJECT_SOURCE_DIR}/tests ${CMAKE_CURRENT_SOURCE_DIR})
target_compile_definitions(bench_chain PRIVATE
  VELMO_BENCH_DATA="${CMAKE_CURRENT_SOURCE_DIR}/data")
target_link_libraries(bench_chain PRIVATE
  velmo_flags velmo_audio_processing velmo_platform_desktop PkgConfig::SPEEXDSP)
