# The core: what the roster and the session read from the voice server's messages. The participant
# for the command line: WAV files and its commands.
set(core_fakes
  ../unit/core/fake_journal.cpp ../unit/core/fake_main_queue.cpp ../unit/core/fake_audio.cpp
  ../unit/core/fake_voice.cpp ../unit/core/fake_gui.cpp ../unit/core/fake_desktop.cpp)
velmo_fuzz(core_roster_fuzz SOURCES core_roster_fuzz.cpp ${core_fakes} LINKS velmo_core)
velmo_fuzz(core_message_fuzz SOURCES core_message_fuzz.cpp ${core_fakes} LINKS velmo_core)
velmo_fuzz(core_wav_fuzz SOURCES core_wav_fuzz.cpp LINKS velmo_peer_program)
velmo_fuzz(core_command_fuzz SOURCES core_command_fuzz.cpp LINKS velmo_peer_program)
