# GoogleTest from the Debian sources, built with the project's own flags in both trees.
set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
set(BUILD_GMOCK ON CACHE BOOL "" FORCE)
set(gtest_force_shared_crt ON CACHE BOOL "" FORCE)
if(ISE_SANITIZE)
    add_compile_options(${ISE_SANITIZER_FLAGS})
    add_link_options(${ISE_SANITIZER_FLAGS})
endif()
add_subdirectory(${ISE_GTEST_SOURCE_DIR} ${CMAKE_BINARY_DIR}/_deps/googletest EXCLUDE_FROM_ALL)
include(GoogleTest)

# ise_test(name SOURCES... DEPS... [LOCKS...]): one test program; every test case becomes a
# CTest test. Discovery runs at test time so the cross tree never runs Wine while building.
# LOCKS names machine state the program's cases change (CTest never runs two holders of
# one lock at once).
function(ise_test name)
    cmake_parse_arguments(ARG "" "" "SOURCES;DEPS;LOCKS" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE ise_options ${ARG_DEPS} ise_testsupport GTest::gmock GTest::gtest_main)
    set(properties TIMEOUT 300)
    if(ARG_LOCKS)
        list(JOIN ARG_LOCKS "," locks)
        list(APPEND properties RESOURCE_LOCK "${locks}")
    endif()
    gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 120 PROPERTIES ${properties})
endfunction()
