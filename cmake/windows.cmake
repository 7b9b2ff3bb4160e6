# The programs that run on Windows: the helper, the sample client, the probes and the laboratory's tools.

enable_language(RC)

add_compile_definitions(UNICODE _UNICODE WIN32_LEAN_AND_MEAN NOMINMAX _WIN32_WINNT=0x0A00)

# The same sources, tools and settings give the same bytes, wherever they lie.
add_compile_options(
    -ffunction-sections -fdata-sections
    "-ffile-prefix-map=${CMAKE_SOURCE_DIR}=." "-ffile-prefix-map=${CMAKE_BINARY_DIR}=build")
add_link_options(
    -s -Wl,--gc-sections -Wl,--no-insert-timestamp
    -Wl,--dynamicbase -Wl,--high-entropy-va -Wl,--nxcompat)

set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}")

add_executable(vandrel_updater WIN32 ${helper_sources})
set_target_properties(vandrel_updater PROPERTIES OUTPUT_NAME "Vandrel Updater")
target_include_directories(vandrel_updater PRIVATE src "${generated_dir}")
include(cmake/helper_image.cmake)

# What a client needs of the helper, behind a C interface. nlohmann-json is headers alone, so the system's package serves
# here too, without the rest of its include folder.
file(GLOB vandrel_client_sources CONFIGURE_DEPENDS sample_client/vandrel_client/*.cpp)
add_library(vandrel_client STATIC ${vandrel_client_sources})
find_path(json_headers nlohmann/json.hpp PATHS /usr/include REQUIRED NO_CMAKE_FIND_ROOT_PATH)
file(MAKE_DIRECTORY "${CMAKE_BINARY_DIR}/headers")
file(CREATE_LINK "${json_headers}/nlohmann" "${CMAKE_BINARY_DIR}/headers/nlohmann" SYMBOLIC)
target_include_directories(vandrel_client SYSTEM PRIVATE "${CMAKE_BINARY_DIR}/headers")
target_link_libraries(vandrel_client PUBLIC shell32)

file(GLOB sample_client_sources CONFIGURE_DEPENDS sample_client/*.cpp)
add_executable(sample_client ${sample_client_sources})
set_target_properties(sample_client PROPERTIES OUTPUT_NAME brindler_dx_x64)
target_link_libraries(sample_client PRIVATE vandrel_client)
target_link_options(sample_client PRIVATE -Wl,-Map,brindler_dx_x64.map)

add_library(probe_frame OBJECT lab/probes/windows_frame.cpp)
target_include_directories(probe_frame PUBLIC "${CMAKE_SOURCE_DIR}")
target_link_libraries(probe_frame PUBLIC winhttp bcrypt shell32)
include(cmake/probes.cmake)

# Each source in lab/tools is a console program of its own.
add_custom_target(lab_tools)
file(GLOB tool_sources CONFIGURE_DEPENDS lab/tools/*.cpp)
foreach(source IN LISTS tool_sources)
    cmake_path(GET source STEM name)
    add_executable(${name} ${source})
    target_link_libraries(${name} PRIVATE crypt32 shell32)
    add_dependencies(lab_tools ${name})
endforeach()

# What the helper's costs are held against: built when it is asked for.
add_custom_target(bench_programs)
file(GLOB floor_sources CONFIGURE_DEPENDS bench/floors/*.cpp)
add_executable(floors EXCLUDE_FROM_ALL ${floor_sources} src/streaming/crc32.cpp)
target_include_directories(floors PRIVATE "${CMAKE_SOURCE_DIR}" src)
target_link_libraries(floors PRIVATE winhttp bcrypt)
add_executable(empty WIN32 EXCLUDE_FROM_ALL bench/empty.cpp)
target_link_options(floors PRIVATE -municode)
target_link_options(empty PRIVATE -municode)
add_dependencies(bench_programs floors empty)

# The program of the kit for a real Windows.
file(GLOB kit_sources CONFIGURE_DEPENDS lab/kit/*.cpp)
add_executable(kit ${kit_sources})
target_include_directories(kit PRIVATE "${CMAKE_SOURCE_DIR}")
target_link_libraries(kit PRIVATE vandrel_client)

# Beside the product: most of a source's cost is its headers.
set_target_properties(vandrel_client sample_client floors kit PROPERTIES UNITY_BUILD ON)

vandrel_warn(vandrel_updater vandrel_client sample_client floors empty)
