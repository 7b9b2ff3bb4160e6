# The tests that no simulated machine can give: the configuration's checks, the real executables, formatting and lint.

add_test(NAME fuzz COMMAND "${CMAKE_SOURCE_DIR}/scripts/fuzz" --quick)
set_tests_properties(fuzz PROPERTIES LABELS fuzz TIMEOUT 600 COST 40)

set(VANDREL_WINDOWS_BUILD_DIR "" CACHE PATH "Build folder of the preset `windows`, whose executables are tested")

add_test(NAME configuration COMMAND "${CMAKE_SOURCE_DIR}/tests/configuration/run" "${CMAKE_SOURCE_DIR}")
set_tests_properties(configuration PROPERTIES LABELS configuration TIMEOUT 300)

foreach(check format reasons tidy clang cppcheck)
    add_test(NAME lint.${check} COMMAND "${CMAKE_SOURCE_DIR}/scripts/lint" ${check} "${CMAKE_BINARY_DIR}")
    set_tests_properties(lint.${check} PROPERTIES LABELS lint TIMEOUT 600)
endforeach()
set_tests_properties(lint.tidy PROPERTIES COST 60)

if(VANDREL_WINDOWS_BUILD_DIR STREQUAL "")
    message(STATUS "VANDREL_WINDOWS_BUILD_DIR is not set: no tests of the Windows executables")
    return()
endif()

add_test(NAME executable_image
         COMMAND "${CMAKE_SOURCE_DIR}/tests/configuration/executable_image"
                 "${VANDREL_WINDOWS_BUILD_DIR}/Vandrel Updater.exe")
set_tests_properties(executable_image PROPERTIES LABELS configuration TIMEOUT 60)
add_test(NAME reproducible_executable
         COMMAND "${CMAKE_SOURCE_DIR}/tests/configuration/reproducible" "${CMAKE_SOURCE_DIR}"
                 "${VANDREL_WINDOWS_BUILD_DIR}")
set_tests_properties(reproducible_executable PROPERTIES LABELS configuration TIMEOUT 600 COST 45)

# Every tests/documents/NAME_test.py holds the documents against what they speak of.
file(GLOB document_scripts CONFIGURE_DEPENDS tests/documents/*_test.py)
foreach(script IN LISTS document_scripts)
    cmake_path(GET script STEM name)
    string(REGEX REPLACE "_test$" "" name "${name}")
    add_test(NAME documents.${name} COMMAND "${script}")
    set_tests_properties(documents.${name} PROPERTIES LABELS documents TIMEOUT 300 ENVIRONMENT
        "VANDREL_WINDOWS_BUILD_DIR=${VANDREL_WINDOWS_BUILD_DIR};VANDREL_NATIVE_BUILD_DIR=${CMAKE_BINARY_DIR}")
endforeach()

# What a real Windows has said is what the simulated one says.
file(GLOB windows_reports CONFIGURE_DEPENDS docs/windows-reports/*.txt)
foreach(report IN LISTS windows_reports)
    cmake_path(GET report STEM LAST_ONLY name)
    add_test(NAME "documents.windows_report.${name}" COMMAND "${CMAKE_SOURCE_DIR}/lab/kit/make.py" --compare "${report}")
    set_tests_properties("documents.windows_report.${name}" PROPERTIES LABELS documents TIMEOUT 300 ENVIRONMENT
        "VANDREL_WINDOWS_BUILD_DIR=${VANDREL_WINDOWS_BUILD_DIR};VANDREL_NATIVE_BUILD_DIR=${CMAKE_BINARY_DIR}")
endforeach()

set(wine_environment
    "VANDREL_SOURCE_DIR=${CMAKE_SOURCE_DIR}"
    "VANDREL_WINDOWS_BUILD_DIR=${VANDREL_WINDOWS_BUILD_DIR}"
    "VANDREL_NATIVE_BUILD_DIR=${CMAKE_BINARY_DIR}"
    "VANDREL_DEVELOPMENT_KEY=${CMAKE_SOURCE_DIR}/keys/development_private.pem"
    "WINEPREFIX=${CMAKE_BINARY_DIR}/wine-prefix"
    "WINEDEBUG=-all"
    "WINEDLLOVERRIDES=mscoree,mshtml=")

# The prefix is made once and shared, with one server for all, so these tests run one at a time.
add_test(NAME wine_prefix COMMAND "${CMAKE_SOURCE_DIR}/lab/wine_prefix" make)
add_test(NAME wine_prefix_stop COMMAND "${CMAKE_SOURCE_DIR}/lab/wine_prefix" stop)
set_tests_properties(wine_prefix wine_prefix_stop PROPERTIES
    LABELS wine TIMEOUT 300 RESOURCE_LOCK wine ENVIRONMENT "${wine_environment}")
set_tests_properties(wine_prefix PROPERTIES FIXTURES_SETUP wine_prefix)
set_tests_properties(wine_prefix_stop PROPERTIES FIXTURES_CLEANUP wine_prefix)

# Registers the test wine.NAME: a command whose environment says where everything is.
function(vandrel_add_wine_test name)
    add_test(NAME wine.${name} COMMAND ${ARGN})
    set_tests_properties(wine.${name} PROPERTIES
        LABELS wine TIMEOUT 900 COST 100 RESOURCE_LOCK wine FIXTURES_REQUIRED wine_prefix
        ENVIRONMENT "${wine_environment}")
endfunction()

# Every tests/wine/NAME_test.py is a test.
file(GLOB wine_scripts CONFIGURE_DEPENDS tests/wine/*_test.py)
foreach(script IN LISTS wine_scripts)
    cmake_path(GET script STEM name)
    string(REGEX REPLACE "_test$" "" name "${name}")
    vandrel_add_wine_test(${name} "${script}")
endforeach()

# Each probe says the same on the simulated Windows and under Wine, but for the differences that it names itself.
foreach(source IN LISTS probe_sources)
    cmake_path(GET source STEM name)
    vandrel_add_wine_test(probe.${name} "${CMAKE_SOURCE_DIR}/lab/probes/run.py" ${name})
endforeach()
