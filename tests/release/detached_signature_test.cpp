// Releases that are signed somewhere else.
#include <cstdlib>

#include "release/refusal.h"
#include "release/tree_changes.h"
#include "release_test.h"

namespace release_test {
namespace {

class DetachedSignature : public ReleaseTest {
 protected:
    DetachedSignature() {
        make_folder(smallest_client());
        public_ = fs::path(VANDREL_DEVELOPMENT_KEY).replace_filename("development_public.pem").string();
    }

    Outcome publish_unsigned(const std::string& release) {
        return run({"publish", "--folder", folder_.string(), "--tree", tree_.string(), "--release", release,
                    "--unsigned", range_.string(), "--public", public_, "--allow-development-key", "--without-helper"});
    }
    Outcome attach(const fs::path& signature, const std::vector<std::string>& more = {}) {
        std::vector<std::string> all{"attach-signature", "--tree",          tree_.string(), "--release", "1",
                                     "--signature",      signature.string()};
        all.insert(all.end(), more.begin(), more.end());
        if (more.empty() || more.front() != "--public") all.insert(all.end(), {"--public", public_});
        return run(all);
    }
    // Runs a shell command in the tests' folder; $KEY is the development key. True if it succeeds.
    bool shell(const std::string& command) const {
        const std::string line =
            "cd '" + top_.string() + "' && KEY='" VANDREL_DEVELOPMENT_KEY "' && { " + command + "; } >shell.log 2>&1";
        return std::system(line.c_str()) == 0;
    }

    std::string public_;
    fs::path range_ = top_ / "range";
};

const std::string kPss =
    " -pkeyopt digest:sha256 -pkeyopt rsa_padding_mode:pss -pkeyopt rsa_pss_saltlen:32 -in range.sha256 -out signature";

TEST_F(DetachedSignature, what_openssl_signs_from_the_digest_makes_the_release_that_waited) {
    const std::string range = support::signed_range(1, smallest_client());
    const Outcome outcome = publish_unsigned("1");
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(read(range_), range);
    EXPECT_EQ(read(top_ / "range.sha256"), support::sha256(range));
    ASSERT_TRUE(shell("sha256sum <range | cut -c1-64 | tr -d '\\n' >hex"));
    EXPECT_EQ(outcome.out,
              "release 1 waits for its signature: sign " + range_.string() + ", SHA-256 " + read(top_ / "hex") + "\n");
    EXPECT_FALSE(fs::exists(tree_ / "64/current") || fs::exists(tree_ / "64/releases/1"));

    ASSERT_TRUE(shell("openssl pkeyutl -sign -inkey $KEY" + kPss));
    ASSERT_TRUE(shell("openssl base64 -in signature -out signature.base64"));
    EXPECT_EQ(attach(top_ / "signature.base64", {"--draft"}).out, "release 1 is signed and a draft\n");
    EXPECT_FALSE(fs::exists(tree_ / "64/current"));
    const std::string manifest = read(tree_ / "64/releases/1/manifest.bin");
    EXPECT_EQ(manifest, range + std::string("SIG1\x80\x01", 6) + read(top_ / "signature"));
    EXPECT_EQ(accepted_entries(manifest, 1).size(), 2U);
    EXPECT_EQ(attach(top_ / "signature").err, "vandrel-release: release 1 does not wait for a signature\n");
}

TEST_F(DetachedSignature, a_key_in_a_token_signs_and_only_its_public_half_is_ever_seen) {
    const std::string token =
        "export SOFTHSM2_CONF=$PWD/softhsm2.conf && "
        "P11='pkcs11-tool --module /usr/lib/softhsm/libsofthsm2.so --token-label releases' && ";
    ASSERT_TRUE(shell("mkdir tokens && echo directories.tokendir = $PWD/tokens >softhsm2.conf && " + token +
                      "softhsm2-util --init-token --free --label releases --so-pin 1234 --pin 1234 && "
                      "$P11 --login --pin 1234 --keypairgen --key-type rsa:3072 --label release --usage-sign && "
                      "$P11 --read-object --type pubkey --label release --output-file public.der && "
                      "openssl pkey -pubin -inform DER -in public.der -out public.pem"))
        << read(top_ / "shell.log");
    public_ = (top_ / "public.pem").string();
    ASSERT_EQ(publish_unsigned("1").err, "");
    ASSERT_TRUE(shell(token +
                      "$P11 --login --pin 1234 --sign --label release --mechanism RSA-PKCS-PSS --hash-algorithm SHA256 "
                      "--mgf MGF1-SHA256 --salt-len 32 --input-file range.sha256 --output-file by-tool && "
                      "PKCS11_MODULE_PATH=/usr/lib/softhsm/libsofthsm2.so openssl pkeyutl -engine pkcs11 -keyform "
                      "engine -inkey 'pkcs11:token=releases;object=release;pin-value=1234' -sign" +
                      kPss))
        << read(top_ / "shell.log");
    EXPECT_EQ(attach(top_ / "by-tool", {"--draft"}).err, "");
    fs::remove_all(tree_), fs::remove(range_), fs::remove(top_ / "range.sha256");
    ASSERT_EQ(publish_unsigned("1").err, "");
    EXPECT_EQ(attach(top_ / "signature").out, "published release 1\n");  // by openssl: the bytes are the same
    EXPECT_EQ(read(tree_ / "64/current"), "1\n");
}

TEST_F(DetachedSignature, nothing_becomes_visible_before_the_right_signature_is_there) {
    ASSERT_EQ(publish_unsigned("1").exit_code, 0);
    const Files before = everything_in(tree_);
    const std::string pss = " is no signature of release 1 by the key in ";
    const std::string form = " holds no signature: 384 bytes are wanted, or their base64";
    const std::string right = "openssl pkeyutl -sign -inkey $KEY" + kPss;
    const std::pair<std::string, std::string> table[] = {
        {"openssl pkeyutl -sign -inkey $KEY -pkeyopt digest:sha256 -in range.sha256 -out signature", pss},
        {right + " -pkeyopt rsa_pss_saltlen:20", pss},
        {"openssl rand -out range.sha256 32; " + right, pss},
        {"openssl rand -out signature 383", form},
        {"openssl rand -out signature 385", form},
        {"openssl rand 288 | openssl base64 >signature", form},
        {"openssl rand 383 | openssl base64 >signature", form},
        {"tr '\\0' '!' </dev/zero | head -c 512 >signature", form}};
    for (const auto& [command, text] : table) {
        shell("rm -f signature; openssl dgst -sha256 -binary -out range.sha256 range; " + command);
        const std::string err = attach(top_ / "signature").err;
        EXPECT_TRUE(err.starts_with("vandrel-release: " + (top_ / "signature").string() + text)) << command << err;
        EXPECT_EQ(everything_in(tree_), before);
    }
    ASSERT_TRUE(
        shell("openssl genpkey -algorithm RSA -pkeyopt rsa_keygen_bits:3072 | openssl pkey -pubout >other.pem"));
    ASSERT_TRUE(shell("openssl dgst -sha256 -binary -out range.sha256 range; " + right));
    EXPECT_EQ(attach(top_ / "signature", {"--public", (top_ / "other.pem").string()}).exit_code, 1);
    EXPECT_EQ(everything_in(tree_), before);
}

TEST_F(DetachedSignature, a_request_replaces_no_file_and_goes_with_a_release_that_does_not_come_to_wait) {
    for (const char* standing : {"range", "range.sha256"}) {
        write(top_ / standing, "precious");
        EXPECT_EQ(publish_unsigned("1").exit_code, 1);
        EXPECT_EQ(read(top_ / standing), "precious");
        fs::remove(top_ / standing);
        EXPECT_FALSE(fs::exists(range_) || fs::exists(top_ / "range.sha256"));
    }
    {
        const vandrel_release::TreeLock other(tree_);
        EXPECT_EQ(publish_unsigned("1").err, "vandrel-release: another publication into this tree is under way\n");
    }
    EXPECT_FALSE(fs::exists(range_));
    EXPECT_EQ(run({"publish", "--folder", "a", "--release", "1", "--tree", "b", "--unsigned", "c"}).err,
              "vandrel-release: --unsigned requires --public\n");
}

}  // namespace
}  // namespace release_test
