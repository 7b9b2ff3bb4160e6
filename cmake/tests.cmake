# The tests on the simulated Windows. A machine without GoogleTest still builds everything before them; the preset
# `simulation` insists on it.
find_package(GTest)
if(NOT GTest_FOUND)
    message(STATUS "GoogleTest is missing: the tests are not built")
    return()
endif()
include(GoogleTest)
enable_testing()

file(GLOB support_sources CONFIGURE_DEPENDS tests/support/*.cpp)
add_library(test_support STATIC ${support_sources})
target_link_libraries(test_support PUBLIC player_machine GTest::gtest)
target_compile_definitions(test_support PUBLIC
    VANDREL_DEVELOPMENT_KEY="${CMAKE_SOURCE_DIR}/keys/development_private.pem")

# One program for each folder of tests, TOPIC_tests, with all of the folder's cases registered under its label.
set(folders_apart configuration documents fuzz interruption probes support wine)
file(GLOB test_folders CONFIGURE_DEPENDS RELATIVE "${CMAKE_SOURCE_DIR}/tests" tests/*)
list(REMOVE_ITEM test_folders ${folders_apart})
foreach(folder IN LISTS test_folders)
    file(GLOB test_sources CONFIGURE_DEPENDS tests/${folder}/*.cpp)
    add_executable(${folder}_tests ${test_sources})
    target_link_libraries(${folder}_tests PRIVATE test_support release_core GTest::gtest_main)
    gtest_discover_tests(${folder}_tests TEST_PREFIX ${folder}. DISCOVERY_TIMEOUT 60
        PROPERTIES LABELS ${folder} TIMEOUT 120)
endforeach()

# The crash exploration, a program with options of its own. Sanitizers make it twenty times slower, so the tests of a
# sanitized build run that of an optimised build, and of their own every first cut and some of the rest. Each takes all
# processors, beside the programs under Wine, which mostly wait.
set(VANDREL_OPTIMISED_BUILD_DIR "" CACHE PATH "Build folder of the preset `native`, whose `interruption` the tests run")
file(GLOB interruption_sources CONFIGURE_DEPENDS tests/interruption/*.cpp)
add_executable(interruption ${interruption_sources})
target_link_libraries(interruption PRIVATE test_support winsim_counting_operators CLI11::CLI11)
set(interruption_program "$<TARGET_FILE:interruption>")
if(VANDREL_OPTIMISED_BUILD_DIR)
    set(interruption_program "${VANDREL_OPTIMISED_BUILD_DIR}/interruption")
    add_test(NAME interruption_sanitized COMMAND interruption --quick --only cuts,faults,walk)
    # Half the time: where a block was made is told when a case is replayed without these, and the tests on one machine
    # look for the uses of a returned function's frame.
    set_tests_properties(interruption_sanitized PROPERTIES LABELS interruption TIMEOUT 900 COST 50 ENVIRONMENT
        "ASAN_OPTIONS=strict_string_checks=1:malloc_context_size=0:quarantine_size_mb=1:thread_local_quarantine_size_kb=128")
endif()
add_test(NAME interruption COMMAND "${interruption_program}")
set_tests_properties(interruption PROPERTIES LABELS interruption TIMEOUT 900 COST 50)

# What scripts/growth runs under callgrind. Without it nothing is counted, but each step has to come to its end.
find_path(valgrind_headers valgrind/callgrind.h)
if(valgrind_headers)
    add_executable(growth bench/growth.cpp)
    target_link_libraries(growth PRIVATE release_core)
    target_compile_definitions(growth PRIVATE
        VANDREL_DEVELOPMENT_KEY="${CMAKE_SOURCE_DIR}/keys/development_private.pem")
    vandrel_warn(growth)
    foreach(step parse policy check plan download install record recovery sweep store)
        add_test(NAME growth.${step} COMMAND growth ${step} 100)
        set_tests_properties(growth.${step} PROPERTIES LABELS bench TIMEOUT 60)
    endforeach()
endif()

include(cmake/checks.cmake)
