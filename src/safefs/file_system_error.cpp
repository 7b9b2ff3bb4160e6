#include "safefs/file_system_error.h"

#include <system_error>

namespace vandrel {

void throw_file_system_error(const char* operation, std::uint32_t error) {
    throw std::system_error(static_cast<int>(error), std::system_category(), operation);
}

}  // namespace vandrel
