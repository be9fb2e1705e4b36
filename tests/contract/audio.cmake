# The audio endpoints against a private sound server with virtual cards. Under Wine the same tests
# run through Wine's driver for that server.
if(WIN32)
  set(host_source audio_server_wine.cpp)
else()
  set(host_source audio_server_linux.cpp)
endif()
add_library(velmo_audio_contract STATIC audio_support.cpp ${host_source})
target_include_directories(velmo_audio_contract PUBLIC ${PROJECT_SOURCE_DIR}/tests)
target_link_libraries(velmo_audio_contract PUBLIC velmo_flags velmo_gtest velmo_platform_audio)

velmo_test(audio_samples_test SOURCES audio_samples_test.cpp LINKS velmo_platform_audio)

velmo_test(audio_endpoint_test SOURCES audio_endpoint_test.cpp LINKS velmo_audio_contract SOUND)
velmo_test(audio_stream_test
  SOURCES audio_stream_test.cpp audio_allocations.cpp LINKS velmo_audio_contract SOUND)
velmo_test(audio_lost_server_test SOURCES audio_lost_server_test.cpp LINKS velmo_audio_contract SOUND)

# Wine adds an endpoint of its own to every sound server: there a machine without cards is one
# without any server.
if(WIN32)
  set(no_card --cards 0 env PULSE_SERVER=unix:/nonexistent ALSA_CONFIG_PATH=/nonexistent)
else()
  set(no_card --cards 0)
endif()
velmo_test(audio_no_card_test
  SOURCES audio_no_card_test.cpp LINKS velmo_audio_contract SOUND SOUND_ARGUMENTS ${no_card})
velmo_test(audio_many_cards_test
  SOURCES audio_many_cards_test.cpp LINKS velmo_audio_contract
  SOUND SOUND_ARGUMENTS --cards 3 ${CMAKE_CURRENT_SOURCE_DIR}/audio_odd_names)
velmo_test(audio_mono_card_test
  SOURCES audio_mix_format_test.cpp LINKS velmo_audio_contract
  SOUND SOUND_ARGUMENTS --channels 1)
velmo_test(audio_wide_card_test
  SOURCES audio_mix_format_test.cpp LINKS velmo_audio_contract
  SOUND SOUND_ARGUMENTS --channels 4 --rate 44100)
velmo_test(audio_fast_card_test
  SOURCES audio_mix_format_test.cpp LINKS velmo_audio_contract
  SOUND SOUND_ARGUMENTS --rate 96000)

if(WIN32)
  velmo_test(audio_wave_format_test
    SOURCES audio_wave_format_test.cpp LINKS velmo_platform_audio)
  velmo_test(audio_packet_test SOURCES audio_packet_test.cpp LINKS velmo_platform_audio)
  velmo_test(audio_com_test SOURCES audio_com_test.cpp LINKS velmo_audio_contract ole32 SOUND)
else()
  velmo_test(audio_pulse_test SOURCES audio_pulse_test.cpp LINKS velmo_audio_contract SOUND)
endif()
