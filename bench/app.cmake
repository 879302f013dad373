# The app's figures on a private desktop: the real app process, a loopback service, a counting
# microphone and XTest keys. Runs inside tests/linux/session.sh --tray --keyring --pulse.
if(TARGET murvel_linux AND MURVEL_BUILD_TESTS)
  find_package(CURL REQUIRED)
  find_package(Threads REQUIRED)
  pkg_check_modules(BENCH_X11 REQUIRED IMPORTED_TARGET x11 xtst)
  add_executable(murvel_bench_app
    ${CMAKE_CURRENT_LIST_DIR}/app/main.cpp
    ${CMAKE_CURRENT_LIST_DIR}/app/AppUnderTest.cpp
    ${CMAKE_CURRENT_LIST_DIR}/app/CounterMicrophone.cpp
    ${CMAKE_CURRENT_LIST_DIR}/app/Desktop.cpp
    ${CMAKE_CURRENT_LIST_DIR}/app/LoopbackService.cpp
    ${CMAKE_CURRENT_LIST_DIR}/app/ProcessActivity.cpp)
  # The app under test is built against this port (tests/linux/app).
  target_compile_definitions(murvel_bench_app PRIVATE
    MURVEL_UNDER_TEST="$<TARGET_FILE:murvel_under_test>" MURVEL_TEST_SERVICE_PORT=18787)
  target_link_libraries(murvel_bench_app PRIVATE murvel_core murvel_linux_stores CURL::libcurl
                        PkgConfig::BENCH_X11 Threads::Threads)
  add_dependencies(murvel_bench_app murvel_under_test)
  set_target_properties(murvel_bench_app PROPERTIES RUNTIME_OUTPUT_DIRECTORY
                        ${CMAKE_BINARY_DIR}/bench)
  murvel_warnings(murvel_bench_app)
endif()
