# The processing chain, and what it is held against: the same formulas written down plainly.
set(VELMO_PROCESSING_SUPPORT
  processing_signals.cpp ${PROJECT_SOURCE_DIR}/tests/support/reference_chain.cpp)
velmo_test(audio_processing_test
  SOURCES
    audio_processing_test.cpp audio_processing_reference_test.cpp biquad_filter_test.cpp
    filter_bank_test.cpp audio_dynamics_test.cpp audio_golden_test.cpp
    ${VELMO_PROCESSING_SUPPORT}
  LINKS velmo_audio_processing velmo_platform_desktop velmo_allocation_counter TIMEOUT 300)
# Prints the recording that the golden test is held to; built by name only.
add_executable(record_chain EXCLUDE_FROM_ALL
  golden/record_chain.cpp ${VELMO_PROCESSING_SUPPORT})
target_include_directories(record_chain PRIVATE ${PROJECT_SOURCE_DIR}/tests)
target_link_libraries(record_chain PRIVATE velmo_flags velmo_audio_processing)
# A program of its own, for ThreadSanitizer's sake: the arithmetic above would take it too long.
velmo_test(audio_processing_threads_test
  SOURCES audio_processing_threads_test.cpp
  LINKS velmo_audio_processing velmo_platform_desktop)
# A program of its own: it needs the state that the chain has when a program starts.
velmo_test(audio_processing_start_test
  SOURCES audio_processing_start_test.cpp
  LINKS velmo_audio_processing velmo_platform_desktop)
