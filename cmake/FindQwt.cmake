# Qwt::Qwt, as Debian's libqwt-qt5-dev and the sysroot for Windows name it. Qwt has no CMake package.
find_path(QWT_INCLUDE_DIR qwt_plot.h PATH_SUFFIXES qwt)
find_library(QWT_LIBRARY qwt-qt5)
include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(Qwt DEFAULT_MSG QWT_LIBRARY QWT_INCLUDE_DIR)
if(Qwt_FOUND AND NOT TARGET Qwt::Qwt)
  add_library(Qwt::Qwt UNKNOWN IMPORTED)
  set_target_properties(Qwt::Qwt PROPERTIES IMPORTED_LOCATION ${QWT_LIBRARY}
    INTERFACE_INCLUDE_DIRECTORIES ${QWT_INCLUDE_DIR})
  if(WIN32)
    set_target_properties(Qwt::Qwt PROPERTIES INTERFACE_COMPILE_DEFINITIONS QWT_DLL)
  endif()
endif()
