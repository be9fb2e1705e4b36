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
