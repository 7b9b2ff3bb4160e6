# One program of libFuzzer's for each target in tests/fuzz: fuzz_TARGET. The helper, and the release tool's reader of a
# stranger's manifest, are compiled with sanitizers and counters for it; the simulated machine isn't, so that it stays
# quick and leads the fuzzer nowhere. The signature's check is left out, so that fuzzed bytes get behind it.
set(trust "${CMAKE_SOURCE_DIR}/tests/fuzz/trusting_signature.cpp")
set(trusting_sources ${helper_sources} ${trust} release/manifest_format.cpp release/refusal.cpp)
list(REMOVE_ITEM trusting_sources "${CMAKE_SOURCE_DIR}/src/manifest/signature.cpp")
add_library(trusting_helper STATIC ${trusting_sources})
target_include_directories(trusting_helper PUBLIC src "${generated_dir}")
target_link_libraries(trusting_helper PUBLIC winsim)
target_compile_definitions(trusting_helper PUBLIC _GLIBCXX_ASSERTIONS)
# To hand the comparisons of positions in paths to the fuzzer takes a seventh of a run's time, and tells it nothing.
set_source_files_properties(src/safefs/windows_path.cpp PROPERTIES COMPILE_OPTIONS -fno-sanitize-coverage=trace-cmp)
# Nor do the library's own functions: counted, they take a third of it.
set(uncounted "${CMAKE_BINARY_DIR}/uncounted.txt")
file(CONFIGURE OUTPUT "${uncounted}" CONTENT "fun:_ZNKSt*\nfun:_ZNSt*\nfun:_ZSt*\n")
target_compile_options(trusting_helper PUBLIC
    -fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer
    "-fsanitize-coverage-ignorelist=${uncounted}")
target_link_options(trusting_helper PUBLIC -fsanitize=address,undefined)

file(GLOB player_sources CONFIGURE_DEPENDS winsim/player/*.cpp)
add_library(fuzz_player STATIC ${player_sources} tests/support/machine.cpp tests/support/release_builder.cpp)
target_include_directories(fuzz_player PRIVATE src "${generated_dir}")
target_link_libraries(fuzz_player PUBLIC winsim_explore nlohmann_json::nlohmann_json)
target_compile_definitions(fuzz_player PRIVATE
    VANDREL_DEVELOPMENT_KEY="${CMAKE_SOURCE_DIR}/keys/development_private.pem")

add_library(kept_blocks OBJECT winsim/sanitizer/kept_blocks.cpp)
target_link_options(kept_blocks INTERFACE -Wl,--wrap=_Znwm -Wl,--wrap=_ZdlPv)

# clang's word on the sources that g++ compiles elsewhere.
vandrel_warn(winsim winsim_explore trusting_helper fuzz_player)

file(GLOB fuzz_targets CONFIGURE_DEPENDS tests/fuzz/*.cpp)
list(REMOVE_ITEM fuzz_targets "${trust}")
foreach(target IN LISTS fuzz_targets)
    cmake_path(GET target STEM name)
    add_executable(fuzz_${name} ${target})
    target_link_libraries(fuzz_${name} PRIVATE fuzz_player trusting_helper winsim_explore kept_blocks)
    target_link_options(fuzz_${name} PRIVATE -fsanitize=fuzzer)
endforeach()
