# The device engine and the device lists over the fake audio seam. Two programs, because a device
# that hangs costs its whole second.
velmo_test(audio_engine_test
  SOURCES audio_engine_test.cpp audio_streams_test.cpp audio_devices_test.cpp
  LINKS velmo_audio velmo_fake_audio velmo_platform_desktop)
velmo_test(audio_threads_test
  SOURCES audio_threads_test.cpp
  LINKS velmo_audio velmo_fake_audio velmo_platform_desktop)
