// A recovery record that is accepted writes the same bytes again.
#include "base/failure.h"
#include "tests/fuzz/fuzz.h"
#include "transaction/recovery_record.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static fuzz::Player player;
    const winsim::World::Guard guard(player.world);
    try {
        const vandrel::TransactionPlan plan = vandrel::parse_transaction({data, data + size}, player.options());
        const vandrel::SerializedTransaction record = vandrel::serialize_transaction(plan);
        vandrel::Bytes again;
        for (const auto& piece : record.pieces()) again.insert(again.end(), piece.begin(), piece.end());
        fuzz::law(again == vandrel::Bytes(data, data + size), "an accepted record writes itself");
    } catch (const vandrel::Failure& failure) {
        fuzz::law(!failure.message.empty(), "a refused record has a reason");
    }
    return 0;
}
