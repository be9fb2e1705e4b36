# Addresses, among them those that a server sends a request on to.
velmo_fuzz(platform_web_url_fuzz SOURCES platform_web_url_fuzz.cpp LINKS velmo_platform_web)
