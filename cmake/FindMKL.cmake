# Finds what the sparse direct solver driver needs of Intel MKL: the PARDISO header, the LP64
# interface, the GNU OpenMP threading layer and the core, with the GNU OpenMP runtime, so that
# the process holds one OpenMP runtime (libgomp) and omp_get_max_threads is answered by it.
#
# Searched in the usual system places and under MKL_ROOT (a CMake or environment variable) or
# MKLROOT (the variable Intel's own environment scripts set). Each part is a cache variable that
# can be set by hand: MKL_INCLUDE_DIR, MKL_INTEL_LP64_LIBRARY, MKL_GNU_THREAD_LIBRARY,
# MKL_CORE_LIBRARY, MKL_GOMP_LIBRARY.
#
# Defines MKL_FOUND and the imported target MKL::PardisoGnuThread.

set(_mklHints ${MKL_ROOT} $ENV{MKL_ROOT} $ENV{MKLROOT})

find_path(MKL_INCLUDE_DIR mkl_pardiso.h
  HINTS ${_mklHints}
  PATH_SUFFIXES include mkl include/mkl
  DOC "Directory of mkl_pardiso.h")

set(_mklLibraryVariables)
foreach(_mklPart intel_lp64 gnu_thread core)
  string(TOUPPER ${_mklPart} _mklPartUpper)
  find_library(MKL_${_mklPartUpper}_LIBRARY
    NAMES mkl_${_mklPart} libmkl_${_mklPart}.so.1 libmkl_${_mklPart}.so.2
    HINTS ${_mklHints}
    PATH_SUFFIXES lib lib/intel64
    DOC "The MKL library mkl_${_mklPart}")
  list(APPEND _mklLibraryVariables MKL_${_mklPartUpper}_LIBRARY)
endforeach()
find_library(MKL_GOMP_LIBRARY NAMES gomp libgomp.so.1 DOC "The GNU OpenMP runtime")

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(MKL
  REQUIRED_VARS MKL_INCLUDE_DIR ${_mklLibraryVariables} MKL_GOMP_LIBRARY
  REASON_FAILURE_MESSAGE
    "The sparse direct solver needs Intel MKL with its GNU OpenMP threading layer. On Debian, \
install libmkl-dev (scripts/setup.sh does it). Elsewhere, set MKL_ROOT to the MKL installation, or \
set MKL_INCLUDE_DIR and the MKL_*_LIBRARY cache variables.")

if(MKL_FOUND AND NOT TARGET MKL::PardisoGnuThread)
  add_library(MKL::PardisoGnuThread INTERFACE IMPORTED)
  set_target_properties(MKL::PardisoGnuThread PROPERTIES
    INTERFACE_INCLUDE_DIRECTORIES "${MKL_INCLUDE_DIR}"
    INTERFACE_LINK_LIBRARIES
      "${MKL_INTEL_LP64_LIBRARY};${MKL_GNU_THREAD_LIBRARY};${MKL_CORE_LIBRARY};${MKL_GOMP_LIBRARY};pthread;m;dl")
endif()
mark_as_advanced(MKL_INCLUDE_DIR ${_mklLibraryVariables} MKL_GOMP_LIBRARY)
unset(_mklHints)
unset(_mklLibraryVariables)
