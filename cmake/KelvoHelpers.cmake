# Build helpers shared by every folder.

function(kelvo_target_defaults target)
    target_compile_options(${target} PRIVATE -Wall -Wextra)
    target_compile_definitions(${target} PRIVATE QT_DEPRECATED_WARNINGS)
endfunction()

# kelvo_library(<name> [GUI] SOURCES ... [DEPS ...])
# One static library per area: `kelvo_<area>` for the widget-free core of the area, and
# `kelvo_<area>_gui` (marked GUI) for its dialogs and views. Core libraries are gathered into
# `kelvocore`; a core library must never reach Qt5::Widgets (checked at configure time).
function(kelvo_library name)
    cmake_parse_arguments(ARG "GUI" "" "SOURCES;DEPS" ${ARGN})
    add_library(${name} STATIC ${ARG_SOURCES})
    target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR}/src)
    target_link_libraries(${name} PUBLIC ${ARG_DEPS})
    kelvo_target_defaults(${name})
    if(ARG_GUI)
        set_property(GLOBAL APPEND PROPERTY KELVO_GUI_LIBS ${name})
    else()
        set_property(GLOBAL APPEND PROPERTY KELVO_CORE_LIBS ${name})
    endif()
endfunction()

# kelvo_add_test(<name> [GUI] SOURCES ... [DEPS ...])
# One small test executable per suite, linking only what it tests. Every test runs with a
# temporary HOME and XDG folders and the offscreen platform (see tests/support/TestMain.cpp).
function(kelvo_add_test name)
    cmake_parse_arguments(ARG "GUI" "" "SOURCES;DEPS" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
    if(ARG_GUI)
        target_link_libraries(${name} PRIVATE kelvo_test_main_gui)
    else()
        target_link_libraries(${name} PRIVATE kelvo_test_main)
    endif()
    target_link_libraries(${name} PRIVATE ${ARG_DEPS} GTest::gtest GTest::gmock)
    kelvo_target_defaults(${name})
    gtest_discover_tests(${name}
        DISCOVERY_MODE PRE_TEST
        DISCOVERY_TIMEOUT 60
        PROPERTIES ENVIRONMENT "QT_QPA_PLATFORM=offscreen;KELVO_BIN_DIR=${CMAKE_BINARY_DIR}/bin;KELVO_SOURCE_DIR=${PROJECT_SOURCE_DIR}"
                   TIMEOUT 300)
endfunction()

# kelvo_add_benchmark(<name> SOURCES ... [DEPS ...])
function(kelvo_add_benchmark name)
    cmake_parse_arguments(ARG "" "" "SOURCES;DEPS" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bench)
    target_link_libraries(${name} PRIVATE ${ARG_DEPS} kelvo_bench_main benchmark::benchmark)
    kelvo_target_defaults(${name})
endfunction()

# Fails the configuration when a core library links Qt5::Widgets, directly or through another
# library: widgets stay in the GUI libraries.
function(kelvo_check_core_free_of_widgets)
    get_property(core GLOBAL PROPERTY KELVO_CORE_LIBS)
    foreach(lib IN LISTS core)
        set(seen "")
        set(todo ${lib})
        while(todo)
            list(POP_FRONT todo item)
            if(item IN_LIST seen)
                continue()
            endif()
            list(APPEND seen ${item})
            if(item STREQUAL "Qt5::Widgets" OR item STREQUAL "Qt5::PrintSupport")
                message(FATAL_ERROR "core library ${lib} reaches ${item}: move the widget code into a GUI library")
            endif()
            if(TARGET ${item})
                get_target_property(type ${item} TYPE)
                if(NOT type STREQUAL "INTERFACE_LIBRARY" OR CMAKE_VERSION VERSION_GREATER_EQUAL 3.19)
                    get_target_property(deps ${item} INTERFACE_LINK_LIBRARIES)
                    if(deps)
                        list(APPEND todo ${deps})
                    endif()
                endif()
            endif()
        endwhile()
    endforeach()
endfunction()
