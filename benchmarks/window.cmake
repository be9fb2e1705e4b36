# The client's start and memory beside those of a GTK program that has a window and nothing else.
if(VELMO_GUI AND NOT WIN32)
  pkg_check_modules(GTK REQUIRED IMPORTED_TARGET gtk4)
  pkg_check_modules(X11 REQUIRED IMPORTED_TARGET x11)
  add_executable(bench_empty_window empty_window.cpp)
  target_link_libraries(bench_empty_window PRIVATE velmo_flags PkgConfig::GTK)
  add_executable(bench_first_paint first_paint.cpp)
  target_link_libraries(bench_first_paint PRIVATE velmo_flags PkgConfig::X11)
endif()

# The interface with nobody behind it: what its changes take.
if(VELMO_GUI AND NOT WIN32)
  add_library(bench_interface STATIC interface.cpp)
  target_link_libraries(bench_interface PUBLIC velmo_flags velmo_ui
    velmo_storage velmo_chat velmo_backend velmo_voice velmo_audio velmo_platform_audio velmo_platform_udp
    velmo_platform_desktop velmo_platform_browser velmo_platform_file velmo_platform_web velmo_platform_web_socket)
  foreach(row hub history)
    add_executable(bench_${row} ${row}.cpp)
    target_link_libraries(bench_${row} PRIVATE bench_interface)
  endforeach()
endif()
