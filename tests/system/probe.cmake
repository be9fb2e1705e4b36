# The measuring tool of the system tests, and the tests of its mathematics.
velmo_library(velmo_sound_compare
  SOURCES
    ${PROJECT_SOURCE_DIR}/tests/system/correlate.cpp
    ${PROJECT_SOURCE_DIR}/tests/system/sound_compare.cpp
    ${PROJECT_SOURCE_DIR}/tests/system/stereo_sound.cpp
    ${PROJECT_SOURCE_DIR}/tests/system/voice_chain.cpp
  LINKS velmo_audio_processing velmo_voice velmo_peer_program velmo_platform_desktop)
target_include_directories(velmo_sound_compare PUBLIC ${PROJECT_SOURCE_DIR}/tests)

add_executable(velmo-sound-probe
  ${PROJECT_SOURCE_DIR}/tests/system/probe_main.cpp
  ${PROJECT_SOURCE_DIR}/tests/system/pulse_probe.cpp)
pkg_check_modules(PULSE REQUIRED IMPORTED_TARGET libpulse)
target_link_libraries(velmo-sound-probe PRIVATE velmo_sound_compare PkgConfig::PULSE)

velmo_test(velmo_sound_compare_test
  SOURCES ${PROJECT_SOURCE_DIR}/tests/system/sound_compare_test.cpp
  LINKS velmo_sound_compare
  TIMEOUT 300) # many long transforms, slow under the sanitizers

# The sanitizers replace the functions that this clock does, so there it is not.
if(NOT VELMO_SANITIZE)
  add_executable(velmo-patient-clock ${PROJECT_SOURCE_DIR}/tests/system/patient_clock_main.cpp)
  target_link_libraries(velmo-patient-clock PRIVATE velmo_flags Threads::Threads)
  target_include_directories(velmo-patient-clock PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  add_library(velmo-patient-clock-view MODULE ${PROJECT_SOURCE_DIR}/tests/system/patient_clock.cpp)
  target_link_libraries(velmo-patient-clock-view PRIVATE velmo_flags)
  target_include_directories(velmo-patient-clock-view PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  set_target_properties(velmo-patient-clock-view PROPERTIES PREFIX "" OUTPUT_NAME velmo-patient-clock)
  add_dependencies(velmo-patient-clock velmo-patient-clock-view)

  velmo_test(velmo_patient_clock_test SOURCES ${PROJECT_SOURCE_DIR}/tests/system/patient_clock_test.cpp)
  add_dependencies(velmo_patient_clock_test velmo-patient-clock)
  target_compile_definitions(velmo_patient_clock_test PRIVATE
    VELMO_CLOCK_PROGRAM="$<TARGET_FILE:velmo-patient-clock>"
    VELMO_CLOCK_LIBRARY="$<TARGET_FILE:velmo-patient-clock-view>")
endif()
