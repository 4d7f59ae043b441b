# qz62_subsystem(NAME [DEPENDS subsystem...] [LIBS library...])
#
# One shared library per subsystem, qz62<NAME>, linked with --no-undefined:
# a symbol of a subsystem it does not name in DEPENDS fails to link, and CMake
# refuses a loop among shared libraries, so the folders' dependencies stay a
# tree. The subsystem's CMakeLists.txt then lists its sources with
# target_sources(qz62<NAME> PRIVATE ...).
function(qz62_subsystem name)
    cmake_parse_arguments(S "" "" "DEPENDS;LIBS" ${ARGN})
    set(target qz62${name})
    # The fuzz targets link the subsystems statically, so the fuzzer sees one
    # instrumented program.
    if(QZ62_BUILD_FUZZ)
        add_library(${target} STATIC)
    else()
        add_library(${target} SHARED)
    endif()
    target_include_directories(${target} PUBLIC ${PROJECT_SOURCE_DIR}/src
                                                ${CMAKE_BINARY_DIR}/generated)
    set(deps)
    foreach(dep ${S_DEPENDS})
        list(APPEND deps qz62${dep})
    endforeach()
    # Every subsystem compiles with the same flags and macros, so they share
    # one precompiled header (built once, by qz62common).
    target_link_libraries(${target} PUBLIC ${deps} Qt6::Core Qt6::Gui Qt6::Network
                                           Threads::Threads ${S_LIBS})
    set_target_properties(${target} PROPERTIES DEFINE_SYMBOL QZ62_BUILDING_LIBRARY)
    target_link_options(${target} PRIVATE -Wl,--no-undefined)
    if(name STREQUAL "common")
        target_precompile_headers(${target} PRIVATE
            <QByteArray> <QString> <QStringList> <QList> <QObject>
            <atomic> <cstdint> <cstdio> <functional> <memory> <mutex> <string> <vector>)
    else()
        target_precompile_headers(${target} REUSE_FROM qz62common)
    endif()
    qz62_warnings(${target})
    set_property(GLOBAL APPEND PROPERTY QZ62_SUBSYSTEMS ${target})
endfunction()
