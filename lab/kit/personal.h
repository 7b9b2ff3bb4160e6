// What of the person at the machine might stand in a report.
#pragma once

#include <filesystem>
#include <string>

namespace kit {

// `text` with the kit's folder, the user's folder and, at the end of a path, the user's name replaced by KIT, PROFILE
// and USER, whatever their case in ASCII.
std::string without_personal(const std::string& text, const std::filesystem::path& kit);

}  // namespace kit
