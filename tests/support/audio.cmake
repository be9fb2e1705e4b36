# The audio seam in memory: link it in place of velmo_platform_audio, after what uses it.
velmo_library(velmo_fake_audio
  SOURCES fake_audio_endpoint.cpp fake_audio_seam.cpp
  LINKS velmo_base)
target_include_directories(velmo_fake_audio PUBLIC ${PROJECT_SOURCE_DIR}/tests)
