# The web seam against a scripted server. Whom Wine trusts it decides once per process, so that the
# trusting program is another.
if(WIN32)
  set(web_system web_system_windows.cpp)
  set(web_system_links crypt32)
  set(web_loop "")
else()
  set(web_system web_system_linux.cpp)
  set(web_system_links "")
  set(web_loop web_loop_linux_test.cpp web_place_linux_test.cpp)
endif()
velmo_test(velmo_web_contract_test
  SOURCES web_exchange_test.cpp web_broken_test.cpp web_redirect_test.cpp web_strict_test.cpp
    web_untrusted_test.cpp web_url_test.cpp web_support.cpp ${web_loop} ${web_system}
  LINKS velmo_platform_web velmo_web_script ${web_system_links}
  WEB_SERVER)
if(NOT WIN32)
  velmo_test(velmo_web_silence_contract_test
    SOURCES web_silence_linux_test.cpp web_support.cpp
    LINKS velmo_platform_web velmo_web_script
    WEB_SERVER)
  target_link_options(velmo_web_silence_contract_test PRIVATE LINKER:--wrap=soup_session_new_with_options)
endif()
velmo_test(velmo_web_trusted_contract_test
  SOURCES web_tls_test.cpp web_support.cpp ${web_system}
  LINKS velmo_platform_web velmo_web_script ${web_system_links}
  WEB_SERVER)
