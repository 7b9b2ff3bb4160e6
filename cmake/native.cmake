# The helper's sources on the simulated Windows, the release tool, and the tests.

find_package(OpenSSL REQUIRED COMPONENTS Crypto SSL)
find_package(Threads REQUIRED)
find_package(GTest REQUIRED)
find_package(CLI11 REQUIRED)
find_package(nlohmann_json REQUIRED)
find_library(httplib_library cpp-httplib REQUIRED)

if(VANDREL_SANITIZE)
    add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_compile_definitions(_GLIBCXX_ASSERTIONS)
    add_link_options(-fsanitize=address,undefined)
endif()

# The simulated Windows. Its include folder takes the place of the platform's headers.
file(GLOB winsim_sources CONFIGURE_DEPENDS winsim/*.cpp)
add_library(winsim STATIC ${winsim_sources})
target_include_directories(winsim BEFORE PUBLIC "${CMAKE_SOURCE_DIR}/winsim/include" "${CMAKE_SOURCE_DIR}")
target_link_libraries(winsim PUBLIC OpenSSL::Crypto)

# Every line of the helper, its entry included: here WinMain is a function like any other.
add_library(helper_core STATIC ${helper_sources})
target_include_directories(helper_core PUBLIC src "${generated_dir}")
target_link_libraries(helper_core PUBLIC winsim)

# The release tool. The system's build of cpp-httplib is compiled with these three, so its users are too.
add_library(httplib INTERFACE)
target_link_libraries(httplib INTERFACE "${httplib_library}" OpenSSL::SSL OpenSSL::Crypto Threads::Threads)
target_compile_definitions(httplib INTERFACE
    CPPHTTPLIB_OPENSSL_SUPPORT CPPHTTPLIB_ZLIB_SUPPORT CPPHTTPLIB_BROTLI_SUPPORT)

file(GLOB release_sources CONFIGURE_DEPENDS release/*.cpp)
set(release_main "${CMAKE_SOURCE_DIR}/release/main.cpp")
list(REMOVE_ITEM release_sources "${release_main}")
add_library(release_core STATIC ${release_sources})
target_link_libraries(release_core PUBLIC helper_core httplib CLI11::CLI11 nlohmann_json::nlohmann_json)
add_executable(vandrel-release "${release_main}")
target_link_libraries(vandrel-release PRIVATE release_core)

# Tests.
enable_testing()
include(GoogleTest)

file(GLOB support_sources CONFIGURE_DEPENDS tests/support/*.cpp)
if(support_sources)
    add_library(test_support STATIC ${support_sources})
    set(support_scope PUBLIC)
else()
    add_library(test_support INTERFACE)
    set(support_scope INTERFACE)
endif()
target_link_libraries(test_support ${support_scope} helper_core GTest::gtest)
target_compile_definitions(test_support ${support_scope}
    VANDREL_DEVELOPMENT_KEY="${CMAKE_SOURCE_DIR}/keys/development_private.pem")

# One program for each folder of tests, TOPIC_tests, with all of the folder's cases registered under its label.
set(folders_apart configuration fuzz interruption probes support wine)
file(GLOB test_folders CONFIGURE_DEPENDS RELATIVE "${CMAKE_SOURCE_DIR}/tests" tests/*)
list(REMOVE_ITEM test_folders ${folders_apart})
foreach(folder IN LISTS test_folders)
    file(GLOB test_sources CONFIGURE_DEPENDS tests/${folder}/*.cpp)
    if(NOT test_sources)
        continue()
    endif()
    add_executable(${folder}_tests ${test_sources})
    target_link_libraries(${folder}_tests PRIVATE test_support release_core GTest::gtest_main)
    gtest_discover_tests(${folder}_tests TEST_PREFIX ${folder}. PROPERTIES LABELS ${folder} TIMEOUT 120)
endforeach()

# The crash exploration: a program with options of its own.
file(GLOB interruption_sources CONFIGURE_DEPENDS tests/interruption/*.cpp)
if(interruption_sources)
    add_executable(interruption ${interruption_sources})
    target_link_libraries(interruption PRIVATE test_support)
    add_test(NAME interruption COMMAND interruption)
    set_tests_properties(interruption PROPERTIES LABELS interruption TIMEOUT 300)
endif()

# The probes on the simulated Windows; the sources in tests/probes/native belong to every one of them.
file(GLOB probe_sources CONFIGURE_DEPENDS tests/probes/*.cpp)
file(GLOB probe_frame CONFIGURE_DEPENDS tests/probes/native/*.cpp)
foreach(source IN LISTS probe_sources)
    cmake_path(GET source STEM name)
    add_executable(probe_${name} ${source} ${probe_frame})
    target_link_libraries(probe_${name} PRIVATE winsim)
endforeach()

include(cmake/checks.cmake)
