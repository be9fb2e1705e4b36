# The flags that every target of this project shares, and the two functions that define targets.
add_library(velmo_flags INTERFACE)
target_compile_features(velmo_flags INTERFACE cxx_std_20)
# The filters promise the same bits on every machine: no fused multiply-add behind their back.
target_compile_options(velmo_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow -ffp-contract=off)
if(VELMO_WERROR)
  target_compile_options(velmo_flags INTERFACE -Werror)
endif()
if(VELMO_SANITIZE)
  target_compile_options(velmo_flags INTERFACE
    -fsanitize=${VELMO_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  string(REPLACE "fuzzer-no-link," "" sanitize_link "${VELMO_SANITIZE}")
  target_link_options(velmo_flags INTERFACE -fsanitize=${sanitize_link})
endif()
if(WIN32)
  target_compile_definitions(velmo_flags INTERFACE
    UNICODE _UNICODE _WIN32_WINNT=0x0A00 __USE_MINGW_ANSI_STDIO=1)
endif()
target_include_directories(velmo_flags INTERFACE ${PROJECT_SOURCE_DIR}/src)

# velmo_library(NAME SOURCES file... [LINKS target...]): one folder's library; it sees only what it links.
function(velmo_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINKS" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_link_libraries(${name} PUBLIC velmo_flags ${ARG_LINKS})
endfunction()

# velmo_test(NAME SOURCES file... [LINKS target...] [SOUND [SOUND_ARGUMENTS argument...]]
# [GUI_DISPLAY [DISPLAY_SIZE WIDTHxHEIGHT]] [WEB_SERVER] [LABELS label...] [TIMEOUT seconds]): one GoogleTest
# program, run as one ctest entry in a folder of its own. SOUND runs it with a private sound server (one virtual card,
# or as the arguments tell scripts/with-sound), GUI_DISPLAY with a private display and window manager,
# WEB_SERVER with a web server that it scripts; natively and under Wine alike.
function(velmo_test name)
  cmake_parse_arguments(
    ARG "SOUND;GUI_DISPLAY;WEB_SERVER" "TIMEOUT;DISPLAY_SIZE" "SOURCES;LINKS;LABELS;SOUND_ARGUMENTS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  target_link_libraries(${name} PRIVATE velmo_flags velmo_gtest ${ARG_LINKS})
  # The cases themselves, which are most of the code and run once, are built in half the time without optimization.
  target_compile_options(${name} PRIVATE -O0)
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 120)
  endif()
  set(launcher ${PROJECT_SOURCE_DIR}/scripts/in-temp-folder)
  if(ARG_GUI_DISPLAY)
    list(APPEND launcher ${PROJECT_SOURCE_DIR}/scripts/with-display --wm --strict)
    if(ARG_DISPLAY_SIZE)
      list(APPEND launcher --size ${ARG_DISPLAY_SIZE})
    endif()
  endif()
  if(ARG_SOUND)
    list(APPEND launcher ${PROJECT_SOURCE_DIR}/scripts/with-sound ${ARG_SOUND_ARGUMENTS})
  endif()
  if(ARG_WEB_SERVER)
    list(APPEND launcher ${PROJECT_SOURCE_DIR}/scripts/with-web-server)
  endif()
  add_test(NAME ${name} COMMAND ${launcher} ${CMAKE_CROSSCOMPILING_EMULATOR} $<TARGET_FILE:${name}>)
  set_tests_properties(${name} PROPERTIES TIMEOUT ${ARG_TIMEOUT} LABELS "${ARG_LABELS}")
  if(ARG_WEB_SERVER)
    # libsoup, GIO and libproxy have threads whose locks ThreadSanitizer does not see.
    set_tests_properties(${name} PROPERTIES ENVIRONMENT_MODIFICATION
      TSAN_OPTIONS=path_list_append:ignore_noninstrumented_modules=1)
  endif()
  if(ARG_SOUND)
    # Sound is real time: fewer tests beside it.
    set_tests_properties(${name} PROPERTIES PROCESSORS 2)
  endif()
endfunction()
