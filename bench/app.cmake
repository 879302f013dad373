# The app's figures on a private desktop: the real app process, a loopback service, a counting
# microphone and XTest keys. Runs inside tests/linux/session.sh --tray --keyring --pulse.
if(TARGET murvel_linux)
  find_package(CURL REQUIRED)
  find_package(Threads REQUIRED)
  pkg_check_modules(BENCH_X11 REQUIRED IMPORTED_TARGET x11 xtst)
  add_executable(murvel_bench_app
    ${CMAKE_CURRENT_LIST_DIR}/app/main.cpp
    ${CMAKE_CURRENT_LIST_DIR}/app/AppUnderTest.cpp
    ${CMAKE_CURRENT_LIST_DIR}/app/CounterMicrophone.cpp
    ${CMAKE_CURRENT_LIST_DIR}/app/Desktop.cpp
    ${CMAKE_CURRENT_LIST_DIR}/app/Floors.cpp
    ${CMAKE_CURRENT_LIST_DIR}/app/LoopbackService.cpp
    ${CMAKE_CURRENT_LIST_DIR}/app/ProcessActivity.cpp)
  # The app measured: the real main() with the tests' widget dump, built against a service port of
  # its own, so that a benchmark and the app tests may run at the same time.
  add_executable(murvel_bench_subject ${CMAKE_SOURCE_DIR}/src/platform/linux/main.cpp
                                      ${CMAKE_SOURCE_DIR}/demo/WidgetProbe.cpp)
  target_compile_definitions(murvel_bench_subject PRIVATE
    MURVEL_API_BASE_URL="http://127.0.0.1:18797/api" MURVEL_VERSION="9.9")
  target_link_libraries(murvel_bench_subject PRIVATE murvel_core murvel_linux Qt6::Widgets)
  set_target_properties(murvel_bench_subject PROPERTIES RUNTIME_OUTPUT_DIRECTORY
                        ${CMAKE_BINARY_DIR}/bench)
  murvel_warnings(murvel_bench_subject)
  target_compile_definitions(murvel_bench_app PRIVATE
    MURVEL_BENCH_SUBJECT="$<TARGET_FILE:murvel_bench_subject>" MURVEL_BENCH_SERVICE_PORT=18797)
  target_link_libraries(murvel_bench_app PRIVATE murvel_core murvel_linux_stores murvel_linux_net
                        CURL::libcurl
                        PkgConfig::BENCH_X11 Threads::Threads)
  add_dependencies(murvel_bench_app murvel_bench_subject)
  set_target_properties(murvel_bench_app PROPERTIES RUNTIME_OUTPUT_DIRECTORY
                        ${CMAKE_BINARY_DIR}/bench)
  murvel_warnings(murvel_bench_app)
endif()
