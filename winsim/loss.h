// What a power cut takes of what was not durable.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace winsim {

struct Loss {
    enum class Data : std::uint8_t { kept, lost, torn };
    std::vector<bool> kept;  // one flag for each pending journal record, oldest first; a missing flag counts as lost
    Data data = Data::kept;
    // "3/5+torn": the first three of five records kept, unflushed contents torn; "10111+kept": the second record lost.
    std::string name() const;
    bool keeps_prefix() const;  // of the journal: no kept record behind a lost one
};

std::optional<Loss> parse_loss(const std::string& name);

enum class LossModel : std::uint8_t {
    journal,      // prefixes of the journal, each with the three fates of unflushed contents (where there are any)
    independent,  // also each single pending record lost alone while later ones are kept, and each kept alone
};

}  // namespace winsim
