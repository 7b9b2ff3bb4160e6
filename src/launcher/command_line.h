// The process's command line as the platform splits it.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace vandrel {

// The arguments, the program's name left out. False if the platform can't split the line.
bool read_arguments(std::vector<std::wstring>& arguments);

// "KEY=VALUE": the key in ASCII lower case, the value as it stands and empty without a "=".
struct Switch {
    std::wstring key;
    std::wstring value;
};
Switch split_switch(const std::wstring& argument);

using Switches = std::map<std::wstring, std::wstring>;

// Failure "Argumento repetido." for a key given twice, then "Argumento desconhecido." for one that isn't the helper's.
Switches read_switches(const std::vector<std::wstring>& arguments);

}  // namespace vandrel
