#include "tests/interruption/oracle.h"

namespace interruption {

const player::Oracle& oracle() {
    static const player::Oracle one([](const std::wstring& path) {
        return path == support::kRoot + std::wstring(L"\\modules\\new\\") ||
               path == support::kRoot + std::wstring(L"\\modules\\new\\deep\\");
    });
    return one;
}

player::Layout layout_of(std::uint32_t release) {
    player::Layout layout;
    for (const auto& [managed, content] : release_files(release)) {
        layout[target_of(managed)] = std::make_shared<winsim::Bytes>(content);
    }
    return layout;
}

}  // namespace interruption
