# Debian's host builds of Android's liblog, libutils and libbase, as imported
# targets. They install under <libdir>/android and /usr/include/android.

set(ANDROID_HOST_LIBDIR /usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}/android)
set(ANDROID_HOST_INCLUDEDIR /usr/include/android)

foreach(lib log utils base)
    find_library(ANDROID_${lib}_LIBRARY NAMES ${lib} PATHS ${ANDROID_HOST_LIBDIR} NO_DEFAULT_PATH)
    if(NOT ANDROID_${lib}_LIBRARY)
        message(FATAL_ERROR "Android host lib${lib} not found in ${ANDROID_HOST_LIBDIR}: "
                            "install android-lib${lib}-dev (scripts/setup)")
    endif()
    add_library(android::${lib} SHARED IMPORTED)
    set_target_properties(android::${lib} PROPERTIES
        IMPORTED_LOCATION ${ANDROID_${lib}_LIBRARY}
        INTERFACE_SYSTEM_INCLUDE_DIRECTORIES ${ANDROID_HOST_INCLUDEDIR}
        INTERFACE_INCLUDE_DIRECTORIES ${ANDROID_HOST_INCLUDEDIR})
endforeach()
