# Release to paste through the real murvel-cloud on an X11 desktop and on a headless sway, for a
# recording of a person played into the virtual microphone (bench/run runs it in both sessions).
# The desktop driver, the target window and the virtual microphone come from the tests.
if(MURVEL_BUILD_TESTS AND TARGET murvel-cloud AND TARGET murvel_bench_subject)
  pkg_check_modules(BENCH_HTTPLIB REQUIRED IMPORTED_TARGET cpp-httplib)
  find_package(OpenSSL REQUIRED)
  add_executable(murvel_bench_dictation ${CMAKE_CURRENT_LIST_DIR}/dictation/main.cpp
                                        ${PROJECT_SOURCE_DIR}/tests/e2e/Journey.cpp)
  target_include_directories(murvel_bench_dictation PRIVATE ${CMAKE_CURRENT_LIST_DIR}/app)
  # The app measured is the benchmark's own build of it, with the port that it was built for.
  target_compile_definitions(murvel_bench_dictation PRIVATE
    MURVEL_UNDER_TEST="$<TARGET_FILE:murvel_bench_subject>"
    MURVEL_CLOUD="$<TARGET_FILE:murvel-cloud>"
    MURVEL_TARGET_WINDOW="$<TARGET_FILE:murvel_target_window>"
    MURVEL_TEST_BROWSER="${PROJECT_SOURCE_DIR}/tests/e2e/test-browser.sh"
    MURVEL_TEST_SERVICE_PORT=18797)
  target_link_libraries(murvel_bench_dictation PRIVATE murvel_desktop_driver murvel_linux_stores
    murvel_cloud_core murvel_virtual_microphone PkgConfig::BENCH_HTTPLIB OpenSSL::SSL)
  add_dependencies(murvel_bench_dictation murvel_bench_subject murvel-cloud murvel_target_window)
  set_target_properties(murvel_bench_dictation PROPERTIES RUNTIME_OUTPUT_DIRECTORY
                        ${CMAKE_BINARY_DIR}/bench)
  murvel_warnings(murvel_bench_dictation)
endif()
