# Peer geometry libraries, used only as benchmark baselines and test oracles,
# never by the library. Each is optional: when found it becomes an imported
# target (kmath_peer::geos, ::clipper, ::opencv) and KMATH_HAVE_<PEER> is set.
find_package(PkgConfig QUIET)
if(PkgConfig_FOUND)
  pkg_check_modules(KMATH_GEOS QUIET IMPORTED_TARGET geos)
  if(KMATH_GEOS_FOUND)
    add_library(kmath_peer::geos ALIAS PkgConfig::KMATH_GEOS)
    set(KMATH_HAVE_GEOS ON)
  endif()
  pkg_check_modules(KMATH_CLIPPER QUIET IMPORTED_TARGET polyclipping)
  if(KMATH_CLIPPER_FOUND)
    add_library(kmath_peer::clipper ALIAS PkgConfig::KMATH_CLIPPER)
    set(KMATH_HAVE_CLIPPER ON)
  endif()
endif()

# Debian's split OpenCV packages (core, imgproc) ship neither a CMake package
# nor a pkg-config file; only the full libopencv-dev does. Look for the two
# pieces directly so the small packages suffice.
find_package(OpenCV QUIET COMPONENTS core imgproc)
if(OpenCV_FOUND)
  add_library(kmath_peer_opencv INTERFACE IMPORTED)
  target_link_libraries(kmath_peer_opencv INTERFACE ${OpenCV_LIBS})
  target_include_directories(kmath_peer_opencv SYSTEM INTERFACE ${OpenCV_INCLUDE_DIRS})
  set(KMATH_HAVE_OPENCV ON)
else()
  find_path(KMATH_OPENCV_INCLUDE opencv2/imgproc.hpp PATH_SUFFIXES opencv4)
  find_library(KMATH_OPENCV_CORE opencv_core)
  find_library(KMATH_OPENCV_IMGPROC opencv_imgproc)
  if(KMATH_OPENCV_INCLUDE AND KMATH_OPENCV_CORE AND KMATH_OPENCV_IMGPROC)
    add_library(kmath_peer_opencv INTERFACE IMPORTED)
    target_link_libraries(kmath_peer_opencv INTERFACE ${KMATH_OPENCV_IMGPROC} ${KMATH_OPENCV_CORE})
    target_include_directories(kmath_peer_opencv SYSTEM INTERFACE ${KMATH_OPENCV_INCLUDE})
    set(KMATH_HAVE_OPENCV ON)
  endif()
endif()
if(KMATH_HAVE_OPENCV)
  add_library(kmath_peer::opencv ALIAS kmath_peer_opencv)
endif()

# CGAL (header-only in Debian's libcgal-dev) as the Delaunay oracle and
# baseline of the graph family.
find_package(CGAL QUIET)
if(CGAL_FOUND)
  add_library(kmath_peer_cgal INTERFACE IMPORTED)
  target_link_libraries(kmath_peer_cgal INTERFACE CGAL::CGAL)
  add_library(kmath_peer::cgal ALIAS kmath_peer_cgal)
  set(KMATH_HAVE_CGAL ON)
endif()

# potrace ships neither a CMake package nor a pkg-config file: look for its
# header and library directly.
find_path(KMATH_POTRACE_INCLUDE potracelib.h)
find_library(KMATH_POTRACE_LIB potrace)
if(KMATH_POTRACE_INCLUDE AND KMATH_POTRACE_LIB)
  add_library(kmath_peer_potrace INTERFACE IMPORTED)
  target_link_libraries(kmath_peer_potrace INTERFACE ${KMATH_POTRACE_LIB})
  target_include_directories(kmath_peer_potrace SYSTEM INTERFACE ${KMATH_POTRACE_INCLUDE})
  add_library(kmath_peer::potrace ALIAS kmath_peer_potrace)
  set(KMATH_HAVE_POTRACE ON)
endif()
