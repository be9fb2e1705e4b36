# The two files of the user's own folder.
velmo_fuzz(storage_files_fuzz SOURCES storage_files_fuzz.cpp LINKS velmo_storage)
