#include <iostream>

#include "release/command_line.h"

int main(int argc, char** argv) {
    return vandrel_release::run_command_line(argc, argv, std::cout, std::cerr);
}
