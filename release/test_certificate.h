// Certificates for trying an endpoint out. Not for players: whoever trusts the authority trusts this endpoint alone,
// and only for 30 days.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace vandrel_release {

struct TestCertificate {
    std::filesystem::path certificate;  // DIR/server.pem: the server's certificate, then the authority's
    std::filesystem::path key;          // DIR/server.key, readable by its owner alone
};

// Makes a new authority (DIR/ca.pem, and the same as DIR/ca.der) and a server certificate of it for 127.0.0.1,
// localhost and the given hosts, which are names or addresses. Files of those names are replaced. The authority's own
// key is never written: it can't sign anything else.
TestCertificate make_test_certificate(const std::filesystem::path& folder, const std::vector<std::string>& hosts);

}  // namespace vandrel_release
