// A download is the whole verified file or nothing at all, whatever the stream gives.
#include "streaming/download.h"
#include "tests/fuzz/fuzz.h"

namespace {

using qm_streaming::IoStatus;

constexpr const wchar_t* kFile = L"C:\\Game\\data\\new.dat";
const std::string kContent(100000, 'c');

// Gives pieces of the content as the input says, now and then another byte, another status or another count.
IoStatus read_piece(fuzz::Input& input, std::size_t& position, std::uint8_t* buffer, std::uint32_t capacity,
                    std::uint32_t& count) {
    const std::uint8_t kind = input.byte();
    count = std::min<std::uint32_t>(capacity, input.number(65535) * 4);
    std::fill_n(buffer, count, kind == 1 ? 'x' : 'c');
    const bool complete = position >= kContent.size();
    if (kind > 1) count = static_cast<std::uint32_t>(std::min<std::size_t>(count, kContent.size() - position));
    position += count;
    if (kind == 2) count = capacity + 1;
    if (kind == 3) return static_cast<IoStatus>(input.byte() % 6);
    return complete || count == 0 ? IoStatus::EndOfStream : IoStatus::Data;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Player player;
    const winsim::World::Guard guard(player.world);
    fuzz::Input input(data, size);
    const bool stands = input.byte() % 2 != 0;
    if (stands) player.world.disk.put(kFile, "earlier");
    const vandrel::Digest digest = support::digest_of(kContent);
    const qm_streaming::ExpectedContent expected{true, kContent.size(), &digest, nullptr};
    const auto open = [&input](std::uint32_t, qm_streaming::ReadChunk& reader, std::wstring& error) {
        error = L"text";
        const std::uint8_t kind = input.byte();
        if (kind < 3) return kind == 0 ? IoStatus::Fatal : IoStatus::Retry;
        reader = [&input, position = std::size_t{0}](std::uint8_t* buffer, std::uint32_t capacity, std::uint32_t& count,
                                                     std::wstring&) mutable {
            return read_piece(input, position, buffer, capacity, count);
        };
        return IoStatus::Ok;
    };
    qm_streaming::DownloadOutcome outcome;
    std::wstring error;
    const bool done = qm_streaming::streaming_download(
        support::kRoot, kFile, kContent.size(), expected, {}, open, [&input] { return input.byte() == 77; }, {},
        outcome, error);
    support::Files files = support::minimal_client();
    if (done || stands) files["data/new.dat"] = done ? kContent : "earlier";
    fuzz::law(player.folder() == files, "the file is whole, or all is as it was");
    return 0;
}
