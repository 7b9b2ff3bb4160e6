# What makes an image out of the helper's objects: its resources, its seals, and the libraries it takes from Windows.

set(image_dir "${CMAKE_SOURCE_DIR}/src/launcher/image")

# The resources: the version, the publisher's words, the application manifest. They are compiled apart from the code,
# with no include folders: windres can't take a folder with a blank in its name.
configure_file("${image_dir}/updater.rc.in" "${generated_dir}/updater.rc" @ONLY)
configure_file("${image_dir}/updater.manifest.in" "${generated_dir}/updater.manifest" @ONLY)
add_library(updater_resources OBJECT "${generated_dir}/updater.rc")
set_source_files_properties("${generated_dir}/updater.rc" PROPERTIES
    OBJECT_DEPENDS "${generated_dir}/updater.manifest")
target_sources(vandrel_updater PRIVATE "${image_dir}/runtime.cpp" $<TARGET_OBJECTS:updater_resources>)

# An option of the compiler alone: told to the linker, it would add the toolchain's own guard, which loads libraries
# before the helper has said where from. Ours is in runtime.cpp.
target_compile_options(vandrel_updater PRIVATE -fstack-protector-strong)

# These are loaded at their first call. dlltool calls the descriptors data that may be written, which would make all of
# .text such; they go to the data that may not, one after the other.
foreach(library bcrypt shell32 winhttp)
    set(delayed "lib${library}_delayed.a")
    add_custom_command(OUTPUT ${delayed}
        COMMAND "${CMAKE_DLLTOOL}" -d "${image_dir}/${library}.def" -y ${delayed}
        COMMAND "${CMAKE_OBJCOPY}" --rename-section
                ".text$2=.rdata$delay$2,alloc,load,readonly,data,contents" ${delayed}
        DEPENDS "${image_dir}/${library}.def" VERBATIM)
    target_sources(vandrel_updater PRIVATE "${CMAKE_CURRENT_BINARY_DIR}/${delayed}")
    target_link_libraries(vandrel_updater PRIVATE "${CMAKE_CURRENT_BINARY_DIR}/${delayed}")
endforeach()

# Two tables of the image are there for Windows alone, and nothing in the program names them. This linker knows neither
# by its name, so its map tells where they are, and their places are written into the header behind it.
find_package(Python3 REQUIRED COMPONENTS Interpreter)
target_link_options(vandrel_updater PRIVATE
    -Wl,-u,_load_config_used -Wl,-u,vandrel_delay_imports_end "-Wl,-Map,Vandrel Updater.map")
add_custom_command(TARGET vandrel_updater POST_BUILD
    COMMAND "${Python3_EXECUTABLE}" "${CMAKE_SOURCE_DIR}/cmake/complete_image.py" "Vandrel Updater.exe"
            "Vandrel Updater.map"
    VERBATIM)
set_property(TARGET vandrel_updater APPEND PROPERTY LINK_DEPENDS "${CMAKE_SOURCE_DIR}/cmake/complete_image.py")
