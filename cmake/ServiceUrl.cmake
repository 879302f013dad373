# The service's base URL is fixed into the build, and every request carries the access key or a
# login token: only https travels beyond this machine. Plain http is for a service on a loopback
# address (127.0.0.0/8, ::1 or localhost), such as the local stand-in service.
#
# Also runs as a script, for the tests: cmake -DURL=<url> -P ServiceUrl.cmake
function(murvel_check_service_url url)
  string(TOLOWER "${url}" lowered)
  if(lowered MATCHES "^https://[^/?#]+")
    return()
  endif()
  if(NOT lowered MATCHES "^http://([^/?#]*)")
    message(FATAL_ERROR "MURVEL_API_BASE_URL \"${url}\" is not an http or https URL.")
  endif()
  set(authority "${CMAKE_MATCH_1}")
  # Whatever stands before an "@" is user information, not the host.
  string(REGEX REPLACE "^.*@" "" authority "${authority}")
  if(authority MATCHES "^\\[([0-9a-f:.]*)\\](:[0-9]*)?$")
    set(host "${CMAKE_MATCH_1}")
  elseif(authority MATCHES "^([^:]*)(:[0-9]*)?$")
    set(host "${CMAKE_MATCH_1}")
  else()
    set(host "")
  endif()
  set(octet "(25[0-5]|2[0-4][0-9]|1[0-9][0-9]|[1-9]?[0-9])")
  if(host STREQUAL "localhost" OR host STREQUAL "::1" OR
     host MATCHES "^127\\.${octet}\\.${octet}\\.${octet}$")
    return()
  endif()
  message(FATAL_ERROR
    "MURVEL_API_BASE_URL \"${url}\" would send the access key and login tokens in clear: "
    "use https, or http only to a loopback address (127.0.0.0/8, ::1, localhost).")
endfunction()

if(CMAKE_SCRIPT_MODE_FILE STREQUAL CMAKE_CURRENT_LIST_FILE)
  murvel_check_service_url("${URL}")
endif()
