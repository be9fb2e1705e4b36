# GoogleTest from Debian's sources, so that one suite runs natively, under the sanitizers and,
# cross-built, under Wine.
set(VELMO_GTEST_SOURCE /usr/src/googletest/googletest CACHE PATH "GoogleTest source folder")
add_library(velmo_gtest STATIC
  ${VELMO_GTEST_SOURCE}/src/gtest-all.cc ${VELMO_GTEST_SOURCE}/src/gtest_main.cc)
target_include_directories(velmo_gtest SYSTEM PUBLIC ${VELMO_GTEST_SOURCE}/include)
target_include_directories(velmo_gtest PRIVATE ${VELMO_GTEST_SOURCE})
target_compile_features(velmo_gtest PUBLIC cxx_std_20)
target_link_libraries(velmo_gtest PUBLIC Threads::Threads)
if(VELMO_SANITIZE)
  target_compile_options(velmo_gtest PRIVATE -fsanitize=${VELMO_SANITIZE})
endif()
