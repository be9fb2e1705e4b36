# The voice client: what its network thread makes of datagrams, and what it reads from an address.
velmo_fuzz(voice_receive_fuzz
  SOURCES voice_receive_fuzz.cpp ../support/fake_udp_socket.cpp ../support/fake_clock.cpp
  LINKS velmo_voice)
velmo_fuzz(voice_url_fuzz
  SOURCES voice_url_fuzz.cpp ../support/fake_udp_socket.cpp ../support/fake_clock.cpp
  LINKS velmo_voice)
