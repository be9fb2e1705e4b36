# What a user types.
velmo_fuzz(texts_sanitisers_fuzz
  SOURCES texts_sanitisers_fuzz.cpp ../unit/texts/sanitiser_reference.cpp
  LINKS velmo_texts)
