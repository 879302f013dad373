# What the local service's recognition scores on speech made with flite: word error rate and
# real-time factor, against a running murvel-cloud (bench/cloud.sh starts one and runs it).
add_executable(murvel_bench_cloud ${CMAKE_CURRENT_LIST_DIR}/cloud_recognition.cpp)
target_link_libraries(murvel_bench_cloud PRIVATE murvel_cloud_service)
set_target_properties(murvel_bench_cloud PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bench)
murvel_warnings(murvel_bench_cloud)
