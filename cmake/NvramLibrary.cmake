# The device's configuration store, the target nvram. With the virtual extender that is the library in store/.
#   in  NVRAM_LIBRARY  the device's libnvram.so
if(KD_HNAP_EXTENDER)
  return()
endif()

find_library(NVRAM_LIBRARY nvram DOC "The device's libnvram.so")
if(NOT NVRAM_LIBRARY)
  message(FATAL_ERROR "No libnvram.so: give the device's with -DNVRAM_LIBRARY=/path/to/libnvram.so.")
endif()
set(nvram_functions nvram_init nvram_bufget nvram_bufset nvram_commit nvram_close)
include(CheckCSourceCompiles)
set(CMAKE_REQUIRED_LIBRARIES "${NVRAM_LIBRARY}")
# What the library itself needs is the device's business.
set(CMAKE_REQUIRED_LINK_OPTIONS -Wl,--unresolved-symbols=ignore-in-shared-libs)
foreach(function ${nvram_functions})
  check_c_source_compiles("void ${function}(void); int main(void) { ${function}(); return 0; }" HAVE_${function})
  if(NOT HAVE_${function})
    list(JOIN nvram_functions ", " names)
    message(FATAL_ERROR "${NVRAM_LIBRARY} offers no ${function}, or is for another processor: the module needs "
      "${names} (store/nvram.h says what each does).")
  endif()
endforeach()
unset(CMAKE_REQUIRED_LIBRARIES)
unset(CMAKE_REQUIRED_LINK_OPTIONS)

# By its name: the device has it elsewhere.
get_filename_component(nvram_directory "${NVRAM_LIBRARY}" DIRECTORY)
add_library(nvram INTERFACE IMPORTED)
target_link_libraries(nvram INTERFACE "-L${nvram_directory}" -lnvram)
