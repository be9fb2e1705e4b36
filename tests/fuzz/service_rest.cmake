# The REST half of the service: requests of any shape, without sockets.
velmo_fuzz(service_rest_fuzz
  SOURCES service_rest_fuzz.cpp
  LINKS velmo_service_rest velmo_service_demo)
