# qz62_module(NAME [PUBLIC mod...] [PRIVATE mod...] [LIBS library...])
#
# One shared library per module, the folder src/NAME (a feature's widgets are
# the module NAME/view, library qz62NAME_view), linked with --no-undefined: a
# symbol of a module it does not name fails to link, and a module may name
# only modules of lower layers (src/Layers.cmake). PUBLIC names the modules
# its own headers include; PRIVATE those only its sources use. The module's
# CMakeLists.txt then lists its sources with target_sources(<target> PRIVATE
# ...); qz62_module_target(NAME VAR) gives the target's name.
include(${PROJECT_SOURCE_DIR}/src/Layers.cmake)

function(qz62_module_target name out)
    string(REPLACE "/" "_" target "qz62${name}")
    set(${out} ${target} PARENT_SCOPE)
endfunction()

function(qz62_module_layer name out)
    set(index 0)
    foreach(line ${QZ62_LAYERS})
        string(REPLACE " " ";" modules "${line}")
        if(name IN_LIST modules)
            set(${out} ${index} PARENT_SCOPE)
            return()
        endif()
        math(EXPR index "${index} + 1")
    endforeach()
    message(FATAL_ERROR "module ${name} is on no layer of src/Layers.cmake")
endfunction()

function(qz62_module name)
    cmake_parse_arguments(M "" "" "PUBLIC;PRIVATE;LIBS" ${ARGN})
    qz62_module_target(${name} target)
    qz62_module_layer(${name} layer)
    # The fuzz targets link the modules statically, so the fuzzer sees one
    # instrumented program.
    if(QZ62_BUILD_FUZZ)
        add_library(${target} STATIC)
    else()
        add_library(${target} SHARED)
    endif()
    target_include_directories(${target} PUBLIC ${PROJECT_SOURCE_DIR}/src
                                                ${CMAKE_BINARY_DIR}/generated)
    foreach(scope PUBLIC PRIVATE)
        foreach(dep ${M_${scope}})
            qz62_module_layer(${dep} dep_layer)
            if(NOT dep_layer LESS layer)
                message(FATAL_ERROR "module ${name} may not use ${dep}: not on a lower layer")
            endif()
            qz62_module_target(${dep} dep_target)
            target_link_libraries(${target} ${scope} ${dep_target})
        endforeach()
    endforeach()
    # Every module compiles with the same Qt modules, flags and macros, so the
    # headless ones share one precompiled header (built by qz62base) and the
    # views another (built by qz62base_view).
    target_link_libraries(${target} PUBLIC Qt6::Core Qt6::Gui PRIVATE Qt6::Network Threads::Threads
                                           ${M_LIBS})
    string(FIND "${name}" "/view" view_at)
    if(name STREQUAL "app")
        set(view_at 0)
    endif()
    if(NOT view_at EQUAL -1)
        target_link_libraries(${target} PUBLIC Qt6::Widgets)
    endif()
    set_target_properties(${target} PROPERTIES DEFINE_SYMBOL QZ62_BUILDING_LIBRARY)
    target_link_options(${target} PRIVATE -Wl,--no-undefined)
    if(name STREQUAL "base")
        target_precompile_headers(${target} PRIVATE
            <QByteArray> <QString> <QStringList> <QList> <QObject>
            <atomic> <cstdint> <cstdio> <functional> <memory> <mutex> <string> <vector>)
    elseif(name STREQUAL "base/view")
        target_precompile_headers(${target} PRIVATE
            <QByteArray> <QString> <QStringList> <QWidget> <QObject> <memory> <vector>)
    elseif(NOT view_at EQUAL -1)
        target_precompile_headers(${target} REUSE_FROM qz62base_view)
    else()
        target_precompile_headers(${target} REUSE_FROM qz62base)
    endif()
    qz62_warnings(${target})
    # Installed beside the others in a private folder (cmake/Packaging.cmake),
    # where each finds the rest through its own folder.
    set_target_properties(${target} PROPERTIES INSTALL_RPATH "$ORIGIN")
    set_property(GLOBAL APPEND PROPERTY QZ62_INSTALLED_MODULES ${target})
    if(view_at EQUAL -1)
        set_property(GLOBAL APPEND PROPERTY QZ62_HEADLESS_MODULES ${target})
    else()
        set_property(GLOBAL APPEND PROPERTY QZ62_VIEW_MODULES ${target})
    endif()
endfunction()
