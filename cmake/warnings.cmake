# What the compilers are asked to say about every line of C++; the presets make each of it an error. What clang says
# beside them is asked by clang-tidy (see .clang-tidy), which reads the same sources with clang's front end.
add_compile_options(-Wall -Wextra -Wpedantic -Wconversion -Wshadow)

# More of it, for what is shipped and what is simulated.
function(vandrel_warn)
    foreach(target IN LISTS ARGN)
        target_compile_options(${target} PRIVATE
            -Wsign-conversion -Wdouble-promotion -Wundef -Wredundant-decls -Wmissing-declarations
            -Wold-style-cast -Wcast-qual -Wcast-align -Wnon-virtual-dtor -Woverloaded-virtual -Wextra-semi -Wformat=2
            $<$<CXX_COMPILER_ID:GNU>:-Wuseless-cast;-Wduplicated-cond;-Wduplicated-branches;-Wlogical-op>
            $<$<CXX_COMPILER_ID:GNU>:-Wcast-align=strict;-Wsuggest-override>
            $<$<BOOL:${WIN32}>:-Wnull-dereference>)  # of the simulated disk's shared pointers g++ knows nothing
    endforeach()
endfunction()
