#include "manifest/manifest_fetch.h"

#include <gtest/gtest.h>

#include "tests/support/direct.h"

namespace support {
namespace {

class ManifestFetch : public testing::Test {
 protected:
    ~ManifestFetch() override { EXPECT_EQ(machine.world.network.open_handles(), 0U); }

    std::wstring fetch() {
        return machine.refusal([&] {
            const vandrel::Bytes bytes = vandrel::fetch_manifest(machine.options());
            fetched.assign(bytes.begin(), bytes.end());
        });
    }

    DirectMachine machine;
    std::string fetched = "nothing yet";
};

TEST_F(ManifestFetch, asks_once_and_gives_the_body_as_received) {
    for (const std::string& body : {std::string("any\0bytes", 9), std::string(), std::string(65537, 'm')}) {
        machine.world.network.forget_requests();
        machine.serve_manifest(body);
        EXPECT_EQ(fetch(), L"");
        EXPECT_EQ(fetched, body);
        ASSERT_EQ(machine.world.network.requests().size(), 1U);
        EXPECT_EQ(machine.world.network.requests()[0].object, L"/client-brd/updater.php?action=manifest&arch=64");
    }
}

TEST_F(ManifestFetch, accepts_16_mib_and_not_a_byte_more) {
    machine.serve_manifest(std::string(16777216, 'm'));
    EXPECT_EQ(fetch(), L"");
    EXPECT_EQ(fetched.size(), 16777216U);
    for (const std::size_t beyond : {1U, 70000U}) {
        machine.world.gate.reset();
        machine.serve_manifest(std::string(16777216 + beyond, 'm'));
        EXPECT_EQ(fetch(), L"Manifesto excede limite ou transferencia incompleta.");
        EXPECT_EQ(machine.calls("WinHttpReadData").size(), 257U);
    }
}

TEST_F(ManifestFetch, fails_with_the_transports_text_and_does_not_retry) {
    machine.serve_manifest("0123456789");
    machine.tamper = [](const winsim::Request&, winsim::Response& response) { response.status = 503; };
    EXPECT_EQ(fetch(), L"Servidor respondeu HTTP 503.");
    machine.tamper = [](const winsim::Request&, winsim::Response& response) { response.break_at = 4; };
    EXPECT_EQ(fetch(), L"Download interrompido (Windows 12030)");
    EXPECT_EQ(machine.world.network.requests().size(), 2U);
    EXPECT_EQ(fetched, "nothing yet");
}

TEST_F(ManifestFetch, sees_a_cancellation_before_each_read_but_only_once_the_stream_is_open) {
    machine.serve_manifest(std::string(200000, 'm'));
    machine.say("cancel");
    EXPECT_EQ(fetch(), L"cancelled");
    EXPECT_EQ(machine.world.network.requests().size(), 1U);
    EXPECT_EQ(machine.calls("WinHttpReadData").size(), 0U);
    machine.say("apply");
    machine.tamper = [this](const winsim::Request&, winsim::Response& response) {
        response.read_ms = 10;
        machine.world.clock.after(15, [this] { machine.say("cancel"); });
    };
    EXPECT_EQ(fetch(), L"cancelled");
    EXPECT_EQ(machine.calls("WinHttpReadData").size(), 2U);
    machine.say("apply");
    machine.tamper = [this](const winsim::Request&, winsim::Response& response) {
        response.byte_ms = 1000;  // a read of 65,536 bytes takes 18 hours
        machine.world.clock.after(15, [this] { machine.say("cancel"); });
    };
    const std::uint64_t start = machine.world.clock.tick_ms();
    EXPECT_EQ(fetch(), L"cancelled");
    EXPECT_EQ(machine.world.clock.tick_ms() - start, 65536000U);
    machine.tamper = [](const winsim::Request&, winsim::Response& response) { response.status = 404; };
    EXPECT_EQ(fetch(), L"Servidor respondeu HTTP 404.");
}

}  // namespace
}  // namespace support
