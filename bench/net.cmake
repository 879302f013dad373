# What the connection warm-up saves: the time from starting an upload to its reply, with and
# without a HEAD on the same session before it, against a loopback server the program starts.
find_package(Threads REQUIRED)
add_executable(murvel_bench_net_warmup ${CMAKE_CURRENT_LIST_DIR}/net_warmup.cpp)
target_link_libraries(murvel_bench_net_warmup PRIVATE murvel_linux_net Threads::Threads)
set_target_properties(murvel_bench_net_warmup PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bench)
murvel_warnings(murvel_bench_net_warmup)
