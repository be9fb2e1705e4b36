# The voice service: its rules as a whole, its texts, and a talker's queue.
velmo_fuzz(service_voice_fuzz
  SOURCES service_voice_fuzz.cpp
  LINKS velmo_service_voice velmo_platform_udp velmo_platform_desktop)
velmo_fuzz(service_messages_fuzz
  SOURCES service_messages_fuzz.cpp
  LINKS velmo_service_voice velmo_platform_udp velmo_platform_desktop)
velmo_fuzz(service_talker_queue_fuzz
  SOURCES service_talker_queue_fuzz.cpp
  LINKS velmo_service_voice velmo_platform_udp velmo_platform_desktop)
