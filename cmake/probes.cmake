# Each source in tests/probes is a program probe_NAME, with probe_frame, the laboratory's frame for the system that is
# built for; the target `probes` is all of them.
add_custom_target(probes)
file(GLOB probe_sources CONFIGURE_DEPENDS tests/probes/*.cpp)
foreach(source IN LISTS probe_sources)
    cmake_path(GET source STEM name)
    add_executable(probe_${name} ${source})
    target_link_libraries(probe_${name} PRIVATE probe_frame)
    add_dependencies(probes probe_${name})
endforeach()
