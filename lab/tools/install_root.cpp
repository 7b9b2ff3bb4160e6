// Makes a certificate (DER) a root that every program of this Windows trusts:
//   install_root FILE
// Exit code 0 when it stands in the machine's Root store, 1 otherwise, with a line that says why.

#include <windows.h>

#include <shellapi.h>
#include <wincrypt.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

namespace {

std::vector<BYTE> read_file(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

int fail(const char* step) {
    std::printf("%s failed (%lu)\n", step, GetLastError());
    return 1;
}

int install(const std::vector<BYTE>& certificate) {
    const HCERTSTORE store = CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, CERT_SYSTEM_STORE_LOCAL_MACHINE,
                                           static_cast<const void*>(L"Root"));
    if (store == nullptr) return fail("opening the Root store");
    const BOOL added = CertAddEncodedCertificateToStore(store, X509_ASN_ENCODING, certificate.data(),
                                                        static_cast<DWORD>(certificate.size()),
                                                        CERT_STORE_ADD_REPLACE_EXISTING, nullptr);
    const int result = added ? 0 : fail("adding the certificate");
    CertCloseStore(store, 0);
    return result;
}

}  // namespace

int main() {
    int count = 0;
    wchar_t** arguments = CommandLineToArgvW(GetCommandLineW(), &count);
    if (count != 2) {
        std::puts("usage: install_root FILE.der");
        return 1;
    }
    return install(read_file(arguments[1]));
}
