# The device engine and the device lists over the fake audio seam. The threads have a program of
# their own, because a device that hangs costs its whole second.
velmo_test(audio_engine_test
  SOURCES audio_engine_test.cpp audio_streams_test.cpp audio_devices_test.cpp
  LINKS velmo_audio velmo_fake_audio velmo_platform_desktop velmo_allocation_counter)
# A program of its own: it needs the state that the engine has when a program starts.
velmo_test(audio_engine_start_test
  SOURCES audio_engine_start_test.cpp
  LINKS velmo_audio velmo_fake_audio velmo_platform_desktop)
velmo_test(audio_threads_test
  SOURCES audio_threads_test.cpp
  LINKS velmo_audio velmo_fake_audio velmo_platform_desktop)
# Sanitizers need more addresses than this program leaves.
if(NOT WIN32 AND NOT VELMO_SANITIZE)
  velmo_test(audio_no_thread_test
    SOURCES audio_no_thread_test.cpp
    LINKS velmo_audio velmo_fake_audio velmo_platform_desktop)
endif()
# Engine and voice session together, before a network that is a fake.
velmo_test(audio_long_packets_test
  SOURCES audio_long_packets_test.cpp ../core/fake_gui.cpp ../core/fake_journal.cpp
          ../core/fake_voice.cpp
  LINKS velmo_core velmo_audio velmo_fake_audio velmo_platform_desktop)
