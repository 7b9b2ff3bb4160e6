#include "release/test_certificate.h"

#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509v3.h>

#include <memory>

#include "release/files.h"
#include "release/refusal.h"
#include "release/signing_key.h"

namespace vandrel_release {
namespace {

constexpr unsigned kCertificateKeyBits = 2048;
constexpr long kDaySeconds = 24L * 60 * 60;
constexpr long kLifeSeconds = 30 * kDaySeconds;

struct CertificateDeleter {
    void operator()(X509* certificate) const { X509_free(certificate); }
};
using Certificate = std::unique_ptr<X509, CertificateDeleter>;
using Bio = std::unique_ptr<BIO, decltype(&BIO_free)>;
using Extension = std::unique_ptr<X509_EXTENSION, decltype(&X509_EXTENSION_free)>;

void need(bool condition) {
    if (!condition) refuse_crypto("cannot make a test certificate");
}

void set_random_serial(X509* certificate) {
    unsigned char bytes[16];
    need(RAND_bytes(bytes, sizeof bytes) == 1);
    bytes[0] &= 0x7FU;
    const std::unique_ptr<BIGNUM, decltype(&BN_free)> number(BN_bin2bn(bytes, sizeof bytes, nullptr), BN_free);
    need(number && BN_to_ASN1_INTEGER(number.get(), X509_get_serialNumber(certificate)) != nullptr);
}

// A certificate with everything but its issuer, its extensions and its signature.
Certificate begin_certificate(const std::string& common_name, const Key& key) {
    Certificate certificate(X509_new());
    need(certificate != nullptr && X509_set_version(certificate.get(), X509_VERSION_3) == 1);
    set_random_serial(certificate.get());
    need(X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -kDaySeconds) != nullptr &&
         X509_gmtime_adj(X509_getm_notAfter(certificate.get()), kLifeSeconds) != nullptr);
    const auto* text = reinterpret_cast<const unsigned char*>(common_name.c_str());
    need(X509_NAME_add_entry_by_txt(X509_get_subject_name(certificate.get()), "CN", MBSTRING_UTF8, text, -1, -1, 0) ==
         1);
    need(X509_set_pubkey(certificate.get(), key.get()) == 1);
    return certificate;
}

void extend(X509* certificate, X509* issuer, int kind, const std::string& value) {
    X509V3_CTX context;
    X509V3_set_ctx_nodb(&context);
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    const Extension extension(X509V3_EXT_conf_nid(nullptr, &context, kind, value.c_str()), X509_EXTENSION_free);
    need(extension && X509_add_ext(certificate, extension.get(), -1) == 1);
}

Certificate make_authority(const Key& key) {
    Certificate authority = begin_certificate("Vandrel test authority", key);
    X509* it = authority.get();
    need(X509_set_issuer_name(it, X509_get_subject_name(it)) == 1);
    extend(it, it, NID_basic_constraints, "critical,CA:TRUE,pathlen:0");
    extend(it, it, NID_key_usage, "critical,keyCertSign,cRLSign");
    extend(it, it, NID_subject_key_identifier, "hash");
    need(X509_sign(it, key.get(), EVP_sha256()) > 0);
    return authority;
}

// A host goes into a list that OpenSSL parses: only what can be part of a name or an address gets there.
std::string alternative_name(const std::string& host) {
    if (host.empty() || host.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789.-:*_") !=
                            std::string::npos) {
        throw Refusal(printable(host) + " is no host name");
    }
    const std::unique_ptr<ASN1_OCTET_STRING, decltype(&ASN1_OCTET_STRING_free)> address(a2i_IPADDRESS(host.c_str()),
                                                                                        ASN1_OCTET_STRING_free);
    return (address ? "IP:" : "DNS:") + host;
}

std::string alternative_names(const std::vector<std::string>& hosts) {
    std::string names = "IP:127.0.0.1,DNS:localhost";
    for (const std::string& host : hosts) names += "," + alternative_name(host);
    return names;
}

Certificate make_server(const Key& key, X509* authority, const Key& authority_key, const std::string& names) {
    Certificate server = begin_certificate("Vandrel test endpoint", key);
    X509* it = server.get();
    need(X509_set_issuer_name(it, X509_get_subject_name(authority)) == 1);
    extend(it, authority, NID_basic_constraints, "critical,CA:FALSE");
    extend(it, authority, NID_key_usage, "critical,digitalSignature,keyEncipherment");
    extend(it, authority, NID_ext_key_usage, "serverAuth");
    extend(it, authority, NID_subject_alt_name, names);
    extend(it, authority, NID_subject_key_identifier, "hash");
    extend(it, authority, NID_authority_key_identifier, "keyid:always");
    need(X509_sign(it, authority_key.get(), EVP_sha256()) > 0);
    return server;
}

std::string encoded(X509* certificate, int (*write)(BIO*, const X509*)) {
    const Bio bio(BIO_new(BIO_s_mem()), BIO_free);
    need(bio != nullptr && write(bio.get(), certificate) == 1);
    char* data = nullptr;
    const long size = BIO_get_mem_data(bio.get(), &data);
    return {data, static_cast<std::size_t>(size)};
}

}  // namespace

TestCertificate make_test_certificate(const std::filesystem::path& folder, const std::vector<std::string>& hosts) {
    const std::string names = alternative_names(hosts);
    const Key authority_key = make_rsa_key(kCertificateKeyBits);
    const Certificate authority = make_authority(authority_key);
    const Key server_key = make_rsa_key(kCertificateKeyBits);
    const Certificate server = make_server(server_key, authority.get(), authority_key, names);

    std::filesystem::create_directories(folder);
    const std::string authority_pem = encoded(authority.get(), PEM_write_bio_X509);
    replace_file(folder / "ca.pem", authority_pem, 0644);
    replace_file(folder / "ca.der", encoded(authority.get(), i2d_X509_bio), 0644);
    replace_file(folder / "server.pem", encoded(server.get(), PEM_write_bio_X509) + authority_pem, 0644);
    replace_file(folder / "server.key", private_pem(server_key), 0600);
    return {folder / "server.pem", folder / "server.key"};
}

}  // namespace vandrel_release
