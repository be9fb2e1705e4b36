# What the chat channel reads: its address and the server's frames, in any parts; and pages of history.
velmo_fuzz(chat_frames_fuzz
  SOURCES chat_frames_fuzz.cpp ../support/fake_web_socket.cpp ../support/reference_json_scan.cpp
    ../unit/core/fake_main_queue.cpp
  LINKS velmo_chat velmo_platform_desktop)
velmo_fuzz(chat_history_fuzz
  SOURCES chat_history_fuzz.cpp ../support/reference_json_scan.cpp
  LINKS velmo_chat velmo_platform_desktop)
