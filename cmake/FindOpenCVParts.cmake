# Finds the three OpenCV modules KelvoApp uses (core, imgproc, imgcodecs).
# Debian's split packages ship neither a CMake config nor a pkg-config file, so the headers and
# libraries are looked up directly. Defines the imported target OpenCVParts::OpenCVParts.
find_path(OpenCVParts_INCLUDE_DIR opencv2/core.hpp PATH_SUFFIXES opencv4)
find_library(OpenCVParts_core_LIBRARY NAMES opencv_core)
find_library(OpenCVParts_imgproc_LIBRARY NAMES opencv_imgproc)
find_library(OpenCVParts_imgcodecs_LIBRARY NAMES opencv_imgcodecs)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(OpenCVParts
    REQUIRED_VARS OpenCVParts_INCLUDE_DIR OpenCVParts_core_LIBRARY OpenCVParts_imgproc_LIBRARY
                  OpenCVParts_imgcodecs_LIBRARY)

if(OpenCVParts_FOUND AND NOT TARGET OpenCVParts::OpenCVParts)
    add_library(OpenCVParts::OpenCVParts INTERFACE IMPORTED)
    set_target_properties(OpenCVParts::OpenCVParts PROPERTIES
        INTERFACE_INCLUDE_DIRECTORIES "${OpenCVParts_INCLUDE_DIR}"
        INTERFACE_LINK_LIBRARIES
            "${OpenCVParts_imgcodecs_LIBRARY};${OpenCVParts_imgproc_LIBRARY};${OpenCVParts_core_LIBRARY}")
endif()
mark_as_advanced(OpenCVParts_INCLUDE_DIR OpenCVParts_core_LIBRARY OpenCVParts_imgproc_LIBRARY
                 OpenCVParts_imgcodecs_LIBRARY)
