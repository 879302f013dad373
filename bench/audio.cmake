# How fast the PulseAudio recorder starts and stops. Needs a sound server with a default source:
#   tests/linux/session.sh --pulse -- build/<dir>/bench/murvel_audio_latency [runs]
if(TARGET murvel_linux_audio)
  add_executable(murvel_audio_latency ${CMAKE_CURRENT_LIST_DIR}/audio_latency.cpp)
  target_link_libraries(murvel_audio_latency PRIVATE murvel_linux_audio murvel_core)
  set_target_properties(murvel_audio_latency PROPERTIES RUNTIME_OUTPUT_DIRECTORY
                        ${CMAKE_BINARY_DIR}/bench)
  murvel_warnings(murvel_audio_latency)
endif()
