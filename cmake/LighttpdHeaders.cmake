# Chooses the binding by the version of the server's headers.
#   in   LIGHTTPD_SOURCE_DIR, LIGHTTPD_EXECUTABLE
#   out  the INTERFACE target lighttpd_headers, and KD_HNAP_BINDING: classic or modern
set(LIGHTTPD_EXECUTABLE "" CACHE FILEPATH "The server that will load the module; its version must be the headers'")

if(NOT EXISTS "${LIGHTTPD_SOURCE_DIR}/configure.ac")
  message(FATAL_ERROR "No lighttpd source tree at ${LIGHTTPD_SOURCE_DIR}.\n"
    "Run scripts/setup, or give -DLIGHTTPD_SOURCE_DIR=<the tree of the server that will load the module>.")
endif()
file(STRINGS "${LIGHTTPD_SOURCE_DIR}/configure.ac" ac_init REGEX "^AC_INIT")
if(NOT ac_init MATCHES "AC_INIT\\(\\[lighttpd\\], *\\[([0-9]+\\.[0-9]+\\.[0-9]+)\\]")
  message(FATAL_ERROR "${LIGHTTPD_SOURCE_DIR}/configure.ac names no lighttpd version.")
endif()
set(LIGHTTPD_VERSION "${CMAKE_MATCH_1}")

# The headers that scripts/setup fetched belong to the installed server. A tree that somebody names belongs to
# a server elsewhere, unless that is named too.
set(server "${LIGHTTPD_EXECUTABLE}")
if(NOT server AND LIGHTTPD_SOURCE_DIR STREQUAL "${CMAKE_SOURCE_DIR}/build/deps/lighttpd")
  find_program(installed_lighttpd lighttpd PATHS /usr/sbin /usr/local/sbin)
  if(installed_lighttpd)
    set(server "${installed_lighttpd}")
  endif()
endif()
if(server)
  # Read from the file: it may be a program for another processor.
  if(EXISTS "${server}")
    file(STRINGS "${server}" server_version LIMIT_COUNT 1 REGEX "^lighttpd/[0-9]+\\.[0-9.]+")
  endif()
  if(NOT server_version MATCHES "^lighttpd/([0-9]+\\.[0-9]+\\.[0-9]+)")
    message(FATAL_ERROR "${server} is no lighttpd that tells its version: give the server's own program.")
  endif()
  if(NOT CMAKE_MATCH_1 VERSION_EQUAL LIGHTTPD_VERSION)
    message(FATAL_ERROR "The headers in ${LIGHTTPD_SOURCE_DIR} are of lighttpd ${LIGHTTPD_VERSION}, but ${server} "
      "is ${CMAKE_MATCH_1}: it would refuse the module.\nRun scripts/setup again, or give -DLIGHTTPD_SOURCE_DIR=.")
  endif()
endif()

add_library(lighttpd_headers INTERFACE)
if(LIGHTTPD_VERSION VERSION_EQUAL 1.4.29)
  set(KD_HNAP_BINDING classic)
  # The server's own config.h decides the layout of its records.
  foreach(candidate "${LIGHTTPD_SOURCE_DIR}" "${LIGHTTPD_SOURCE_DIR}/src")
    if(EXISTS "${candidate}/config.h")
      set(config_dir "${candidate}")
    endif()
  endforeach()
  if(NOT config_dir)
    message(FATAL_ERROR "${LIGHTTPD_SOURCE_DIR} has no config.h: configure it as the server that loads the module was.")
  endif()
  target_compile_definitions(lighttpd_headers INTERFACE HAVE_CONFIG_H)
  if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    file(STRINGS "${config_dir}/config.h" large_files REGEX "^#define +SIZEOF_OFF_T 8")
    file(STRINGS "${config_dir}/config.h" by_configure REGEX "_FILE_OFFSET_BITS")
    if(large_files)
      # The server sets this in its config.h, too late for the system headers that come before it. It leaves the
      # width of its times to the system.
      target_compile_definitions(lighttpd_headers INTERFACE _FILE_OFFSET_BITS=64)
    elseif(NOT by_configure)
      message(FATAL_ERROR "${config_dir}/config.h says 32-bit offsets, but it was made by the server's CMake files, "
        "which compile with 64-bit ones.\nConfigure that tree with -DCMAKE_C_FLAGS=-D_FILE_OFFSET_BITS=64.")
    endif()
  endif()
  target_include_directories(lighttpd_headers SYSTEM INTERFACE "${config_dir}")
elseif(LIGHTTPD_VERSION VERSION_GREATER_EQUAL 1.4.61 AND LIGHTTPD_VERSION VERSION_LESS 1.5)
  set(KD_HNAP_BINDING modern)
  if(LIGHTTPD_VERSION VERSION_GREATER 1.4.85)
    message(WARNING "lighttpd ${LIGHTTPD_VERSION} was not tried: 1.4.61 is the oldest and 1.4.85 the newest that was. "
      "Going on; run scripts/test --server on it.")
  endif()
  string(REGEX REPLACE "^1\\.4\\." "" patch "${LIGHTTPD_VERSION}")
  math(EXPR version_id "0x10400 + ${patch}" OUTPUT_FORMAT HEXADECIMAL)
  # A server that was built by its CMake files may give itself another number.
  if(EXISTS "${LIGHTTPD_SOURCE_DIR}/config.h")
    file(STRINGS "${LIGHTTPD_SOURCE_DIR}/config.h" own_id REGEX "^#define +LIGHTTPD_VERSION_ID ")
    if(own_id MATCHES "LIGHTTPD_VERSION_ID +(0x[0-9a-fA-F]+|[0-9]+)")
      set(version_id "${CMAKE_MATCH_1}")
    endif()
  endif()
  # These give the layout of a full configure run. The last two matter on 32-bit systems.
  target_compile_definitions(lighttpd_headers INTERFACE
    LIGHTTPD_VERSION_ID=${version_id} KD_LIGHTTPD_PATCH=${patch} HAVE_STDINT_H=1 HAVE_SOCKLEN_T=1 HAVE_LOCALTIME_R=1 HAVE_GMTIME_R=1
    HAVE_TIMEGM=1 HAVE_MMAP=1 HAVE_IPV6=1 HAVE_SYS_UN_H=1)
  if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    target_compile_definitions(lighttpd_headers INTERFACE _FILE_OFFSET_BITS=64 _TIME_BITS=64)
  endif()
else()
  message(FATAL_ERROR "lighttpd ${LIGHTTPD_VERSION} is not supported: 1.4.29, or 1.4.61 and later of 1.4.")
endif()
target_include_directories(lighttpd_headers SYSTEM INTERFACE "${LIGHTTPD_SOURCE_DIR}/src")
message(STATUS "lighttpd ${LIGHTTPD_VERSION}: ${KD_HNAP_BINDING} binding")
