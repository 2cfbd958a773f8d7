# Third-party packages, all from Debian (scripts/install-deps.sh installs them).
# The installed package asks for the same wxWidgets (cmake/drutilsConfig.cmake.in).
set(DRUTILS_WX_VERSION 3.2)
# The base library links wxWidgets' base library alone; the printing library adds
# the GUI library (core), where the toolkit's print data live.
find_package(wxWidgets ${DRUTILS_WX_VERSION} REQUIRED COMPONENTS base)
set(DRUTILS_WX_BASE_LIBRARIES ${wxWidgets_LIBRARIES})
set(DRUTILS_WX_COMPONENTS base core)
find_package(wxWidgets ${DRUTILS_WX_VERSION} REQUIRED COMPONENTS ${DRUTILS_WX_COMPONENTS})
find_package(ZLIB REQUIRED)
find_package(Threads REQUIRED)

# FindwxWidgets of CMake 3.25 has no imported target; wrap its variables in one so
# that its headers count as system headers (no warnings from them under -Werror).
add_library(drutils_wx INTERFACE)
target_include_directories(drutils_wx SYSTEM INTERFACE ${wxWidgets_INCLUDE_DIRS})
target_compile_definitions(drutils_wx INTERFACE ${wxWidgets_DEFINITIONS})
target_compile_options(drutils_wx INTERFACE ${wxWidgets_CXX_FLAGS})
target_link_libraries(drutils_wx INTERFACE ${wxWidgets_LIBRARIES})

# wxWidgets as a program without a GUI sees it (`wx-config --cxxflags base`): the
# toolkit's GUI classes are not even declared, so code built with this target
# cannot start using them unnoticed.
add_library(drutils_wx_base INTERFACE)
target_include_directories(drutils_wx_base SYSTEM INTERFACE ${wxWidgets_INCLUDE_DIRS})
target_compile_definitions(drutils_wx_base INTERFACE ${wxWidgets_DEFINITIONS} wxUSE_GUI=0)
target_compile_options(drutils_wx_base INTERFACE ${wxWidgets_CXX_FLAGS})
target_link_libraries(drutils_wx_base INTERFACE ${DRUTILS_WX_BASE_LIBRARIES})

# CUPS: the system printers behind print data (linked privately by the printing
# library).
find_package(Cups 2.2 REQUIRED)
