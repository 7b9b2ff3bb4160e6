# The helper's sources on the simulated Windows, the release tool, and the tests.

# Sources of a target are compiled together, twelve at a time: most of a source's cost is its headers.
option(VANDREL_UNITY "Compile sources together" ON)
set(CMAKE_UNITY_BUILD ${VANDREL_UNITY})
set(CMAKE_UNITY_BUILD_BATCH_SIZE 12)
if(VANDREL_UNITY AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # It takes a source that is included for a header, whose unnamed types would be another in each unit.
    add_compile_options(-Wno-subobject-linkage)  # a unit's sources are included by it alone
endif()

find_package(OpenSSL REQUIRED COMPONENTS Crypto SSL)
find_package(Threads REQUIRED)
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

# What interrupts whatever runs on it. The operators that count a program's allocations are linked by those who want
# them counted.
file(GLOB explore_sources CONFIGURE_DEPENDS winsim/explore/*.cpp)
set(counting_operators "${CMAKE_SOURCE_DIR}/winsim/explore/operator_new.cpp")
list(REMOVE_ITEM explore_sources "${counting_operators}")
add_library(winsim_explore STATIC ${explore_sources})
target_link_libraries(winsim_explore PUBLIC winsim Threads::Threads)
add_library(winsim_counting_operators OBJECT "${counting_operators}")
target_link_libraries(winsim_counting_operators PUBLIC winsim_explore)

if(VANDREL_FUZZ)
    include(cmake/fuzz.cmake)
    return()
endif()

# Every line of the helper, its entry included: here WinMain is a function like any other.
add_library(helper_core STATIC ${helper_sources})
target_include_directories(helper_core PUBLIC src "${generated_dir}")
target_link_libraries(helper_core PUBLIC winsim)
option(VANDREL_COVERAGE "Count which lines of the helper are run, for scripts/coverage" OFF)
if(VANDREL_COVERAGE)  # the exploration has threads
    target_compile_options(helper_core PRIVATE -O0 -fprofile-arcs -ftest-coverage -fprofile-update=atomic)
    target_link_options(helper_core PUBLIC --coverage)
endif()

# A player's machine with the helper on it, for the rehearsal and the tests.
file(GLOB player_sources CONFIGURE_DEPENDS winsim/player/*.cpp)
add_library(player_machine STATIC ${player_sources})
target_link_libraries(player_machine PUBLIC helper_core winsim_explore nlohmann_json::nlohmann_json)

# The release tool. The system's build of cpp-httplib is compiled with these three, so its users are too.
add_library(httplib INTERFACE)
target_link_libraries(httplib INTERFACE "${httplib_library}" OpenSSL::SSL OpenSSL::Crypto Threads::Threads)
target_compile_definitions(httplib INTERFACE
    CPPHTTPLIB_OPENSSL_SUPPORT CPPHTTPLIB_ZLIB_SUPPORT CPPHTTPLIB_BROTLI_SUPPORT)

file(GLOB release_sources CONFIGURE_DEPENDS release/*.cpp release/commands/*.cpp release/rehearsal/*.cpp)
set(release_main "${CMAKE_SOURCE_DIR}/release/main.cpp")
list(REMOVE_ITEM release_sources "${release_main}")
add_library(release_core STATIC ${release_sources})
set_source_files_properties(release/command_line.cpp PROPERTIES COMPILE_DEFINITIONS
    VANDREL_VERSION="${PROJECT_VERSION}")
target_link_libraries(release_core PUBLIC player_machine httplib CLI11::CLI11)
add_executable(vandrel-release "${release_main}")
target_link_libraries(vandrel-release PRIVATE release_core)
vandrel_warn(winsim winsim_explore winsim_counting_operators helper_core player_machine release_core vandrel-release)

# For benchmarks under Wine.
add_library(case_blind MODULE bench/case_blind.cpp)

add_library(probe_frame OBJECT lab/probes/native_frame.cpp)
target_link_libraries(probe_frame PUBLIC winsim)
include(cmake/probes.cmake)

# What the kit for a real Windows holds of interrupted installations.
file(GLOB kit_stages_sources CONFIGURE_DEPENDS lab/kit/stages/*.cpp)
add_executable(kit_stages ${kit_stages_sources})
target_link_libraries(kit_stages PRIVATE player_machine)

include(cmake/tests.cmake)
