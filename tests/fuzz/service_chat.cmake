# The chat half of the service: clients' bytes over connections without sockets.
velmo_fuzz(service_chat_fuzz
  SOURCES service_chat_fuzz.cpp
  LINKS velmo_service_chat velmo_service_demo)
