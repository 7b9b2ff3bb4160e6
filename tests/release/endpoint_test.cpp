// The endpoint, asked over HTTPS: its log, its limits and its faults. What it answers to which request is a table that
// tests/documents/endpoint_test.py asks of it and of the web server.
#include <arpa/inet.h>
#include <httplib.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <functional>
#include <iostream>
#include <list>
#include <memory>
#include <mutex>

#include "release/command_line.h"
#include "release/endpoint.h"
#include "release/test_certificate.h"
#include "release_test.h"

namespace release_test {
namespace {

const std::string kPath = "/client-brd/updater.php";
const std::string kDownload = kPath + "?action=download&arch=64&release=2&file=";

class EndpointTest : public ReleaseTest {
 protected:
    EndpointTest() {
        make_folder(smallest_client());
        EXPECT_EQ(publish("1").exit_code, 0);
        client_ = smallest_client();
        client_["init.lua"] = "print(2)\n";
        client_["data/Mapa do céu + 100%.png"] = "map";
        client_["data/nothing"] = "";
        client_["data/large"] = std::string(20U << 20U, 'x') + "end";
        make_folder(client_);
        EXPECT_EQ(publish("2").exit_code, 0);
    }

    void start(const std::vector<vandrel_release::FaultRule>& faults = {},
               const vandrel_release::TlsLimits& limits = {}) {
        const auto certificate = vandrel_release::make_test_certificate(top_ / "tls", {"updates.example"});
        const auto log = [this](const std::string& line) {
            const std::scoped_lock lock(mutex_);
            log_.push_back(line);
        };
        endpoint_ = std::make_unique<vandrel_release::Endpoint>(vandrel_release::EndpointOptions{
            tree_, "127.0.0.1", 0, certificate.certificate, certificate.key, faults, log, limits});
    }

    void trust(httplib::SSLClient& client) const {
        client.set_ca_cert_path((top_ / "tls/ca.pem").c_str());
        client.enable_server_certificate_verification(true);
    }
    std::unique_ptr<httplib::SSLClient> new_client() const {
        auto client = std::make_unique<httplib::SSLClient>("127.0.0.1", endpoint_->port());
        trust(*client);
        client->set_keep_alive(true);
        return client;
    }
    int status_of(const std::string& target) const {
        const httplib::Result result = new_client()->Get(target);
        return result ? result->status : -1;
    }

    // Lines come once an answer is complete, which a client may see first: the endpoint's end is waited for. Answers on
    // several connections may be logged in any order, so the lines are sorted; their time and client are left out.
    std::vector<std::string> sorted_log() {
        endpoint_.reset();
        for (std::string& line : log_) {
            int length = 0;
            std::sscanf(line.c_str(), "20%*2d-%*2d-%*2dT%*2d:%*2d:%*2dZ 127.0.0.1:%*5d %n", &length);
            line.erase(0, static_cast<std::size_t>(length));
        }
        std::sort(log_.begin(), log_.end());
        return log_;
    }

    const std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> context_{SSL_CTX_new(TLS_client_method()), SSL_CTX_free};
    Files client_;
    std::mutex mutex_;
    std::vector<std::string> log_;
    std::unique_ptr<vandrel_release::Endpoint> endpoint_;  // last: it logs until it is gone
};

TEST_F(EndpointTest, each_answer_over_one_connection_is_whole_and_has_its_line) {
    start();
    const auto client = new_client();
    const auto expect_body = [&](const std::string& target, const std::string& body) {
        const httplib::Result result = client->Get(target);
        ASSERT_TRUE(result) << httplib::to_string(result.error());
        EXPECT_TRUE(result->status == 200 && result->body == body) << target;
    };
    const std::string manifest = read(tree_ / "64/releases/2/manifest.bin");
    expect_body(kPath + "?action=manifest&arch=64", manifest);
    expect_body(kDownload + "init.lua", "print(2)\n");
    expect_body(kDownload + "data%2FMapa%20do%20c%C3%A9u%20%2B%20100%25.png", "map");
    expect_body(kDownload + "data%2fnothing", "");
    expect_body(kDownload + "data%2Flarge", client_["data/large"]);
    expect_body(kPath + "?action=download&arch=64&release=1&file=init.lua", "print(1)\n");
    ASSERT_EQ(publish("3").exit_code, 0);  // while the endpoint serves
    const std::string newer = read(tree_ / "64/releases/3/manifest.bin");
    expect_body(kPath + "?action=manifest&arch=64", newer);
    client->stop();
    const std::string size = std::to_string(manifest.size());
    EXPECT_EQ(sorted_log(),
              (std::vector<std::string>{"200 0 download 2 data/nothing", "200 20971523 download 2 data/large",
                                        "200 3 download 2 data/Mapa do céu + 100%.png", "200 " + size + " manifest 2",
                                        "200 " + size + " manifest 3", "200 9 download 1 init.lua",
                                        "200 9 download 2 init.lua"}));
}

TEST_F(EndpointTest, a_request_without_end_is_not_read_to_its_end) {
    start();
    httplib::Headers endless;
    for (int i = 0; i < 20; ++i) endless.emplace("X-" + std::to_string(i), std::string(4000, 'x'));
    EXPECT_FALSE(new_client()->Get(kPath + "?action=manifest&arch=64", endless));
}

TEST_F(EndpointTest, a_damaged_tree_is_500_and_a_link_in_it_is_not_followed) {
    const fs::path files = tree_ / "64/releases/2/files";
    write(files / "init.lua", "another length");
    fs::remove(files / "data/nothing");
    fs::rename(files / "data", top_ / "elsewhere");
    fs::create_directory_symlink(top_ / "elsewhere", files / "data");
    start();
    EXPECT_EQ(status_of(kDownload + "init.lua"), 500);
    EXPECT_EQ(status_of(kDownload + "data/large"), 500);
    EXPECT_EQ(status_of(kDownload + "brindler_dx_x64.exe"), 200);
    fs::rename(files, top_ / "files");
    fs::create_directory_symlink(top_ / "files", files);
    EXPECT_EQ(status_of(kDownload + "brindler_dx_x64.exe"), 500);
    const fs::path manifest = tree_ / "64/releases/2/manifest.bin";
    fs::resize_file(manifest, (16U << 20U) + 1);
    EXPECT_EQ(status_of(kPath + "?action=manifest&arch=64"), 500);
    EXPECT_EQ(sorted_log(),
              (std::vector<std::string>{"200 6 download 2 brindler_dx_x64.exe", "500 0 download 2 brindler_dx_x64.exe",
                                        "500 0 download 2 data/large", "500 0 download 2 init.lua", "500 0 manifest -",
                                        "error: " + manifest.string() + " is larger than 16777216 bytes",
                                        "error: brindler_dx_x64.exe of release 2 is missing or damaged",
                                        "error: data/large of release 2 is missing or damaged",
                                        "error: init.lua of release 2 is missing or damaged"}));
}

TEST_F(EndpointTest, tls_1_2_is_spoken_alone_and_the_certificate_names_its_hosts_alone) {
    start();
    const auto newer = new_client();
    SSL_CTX_set_min_proto_version(newer->ssl_context(), TLS1_3_VERSION);
    EXPECT_EQ(newer->Get(kPath).error(), httplib::Error::SSLConnection);
    const auto older = new_client();
    SSL_CTX_set_max_proto_version(older->ssl_context(), TLS1_1_VERSION);
    EXPECT_EQ(older->Get(kPath).error(), httplib::Error::SSLConnection);

    const std::pair<const char*, bool> hosts[] = {
        {"updates.example", true}, {"localhost", true}, {"other.example", false}};
    for (const auto& [host, known] : hosts) {
        httplib::SSLClient client(host, endpoint_->port());
        client.set_hostname_addr_map({{host, "127.0.0.1"}});
        trust(client);
        EXPECT_EQ(static_cast<bool>(client.Get(kPath)), known) << host;
    }
}

TEST_F(EndpointTest, what_the_network_says_breaks_no_line_of_the_log) {
    start();
    EXPECT_EQ(status_of(kDownload + "a%0A%1B%5Bm%C2%9B%E2%80%AE%D8%9C"), 404);
    EXPECT_EQ(status_of("/\x1B[m"), 404);
    EXPECT_EQ(new_client()->Head(kDownload + "init.lua")->status, 200);
    EXPECT_EQ(sorted_log(),
              (std::vector<std::string>{"200 0 download 2 init.lua",
                                        "404 0 download 2 a\\x0A\\x1B[m\\xC2\\x9B\\xE2\\x80\\xAE\\xD8\\x9C",
                                        "404 0 request - GET /\\x1B[m"}));
}

// A client that says nothing more once it has connected, sent some bytes of its greeting, or agreed on TLS.
class SilentClient {
 public:
    SilentClient(int port, const std::string& greeting) : socket_(::socket(AF_INET, SOCK_STREAM, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<std::uint16_t>(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(::connect(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        EXPECT_EQ(::send(socket_, greeting.data(), greeting.size(), 0), static_cast<ssize_t>(greeting.size()));
    }
    ~SilentClient() { ::close(socket_); }
    SilentClient(const SilentClient&) = delete;
    SilentClient& operator=(const SilentClient&) = delete;
    SSL* agree_on_tls(SSL_CTX* context) {
        tls_.reset(SSL_new(context));
        SSL_set_fd(tls_.get(), socket_);
        EXPECT_EQ(SSL_connect(tls_.get()), 1);
        return tls_.get();
    }
    // Sends this and gives what comes back until the server closes the connection.
    std::string answers_to(const std::string& text) {
        EXPECT_EQ(SSL_write(tls_.get(), text.data(), static_cast<int>(text.size())), static_cast<int>(text.size()));
        std::string answers;
        char unit = 0;
        while (SSL_read(tls_.get(), &unit, 1) == 1) answers += unit;
        return answers;
    }

 private:
    int socket_;
    std::unique_ptr<SSL, decltype(&SSL_free)> tls_{nullptr, SSL_free};
};

TEST_F(EndpointTest, a_thousand_silent_connections_hold_nobody_up_nor_the_end) {
    start();
    std::list<SilentClient> silent;
    std::vector<std::unique_ptr<httplib::SSLClient>> idle;
    for (int i = 0; i < 250; ++i) {
        silent.emplace_back(endpoint_->port(), "");
        silent.emplace_back(endpoint_->port(), std::string("\x16\x03\x01\x02\0\x01", 6));
        silent.emplace_back(endpoint_->port(), "").agree_on_tls(context_.get());
        idle.push_back(new_client());
        EXPECT_TRUE(idle.back()->Get(kDownload + "init.lua"));
    }
    const auto began = std::chrono::steady_clock::now();
    EXPECT_EQ(status_of(kDownload + "data%2Flarge"), 200);
    EXPECT_TRUE(idle.front()->Get(kDownload + "init.lua"));
    endpoint_.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - began, std::chrono::seconds(20));  // a step may take 30
}

// The open files and the threads of this process.
std::pair<std::ptrdiff_t, std::ptrdiff_t> held() {
    const auto count = [](const char* folder) { return std::distance(fs::directory_iterator(folder), {}); };
    return {count("/proc/self/fd"), count("/proc/self/task")};
}

TEST_F(EndpointTest, clients_that_speak_no_tls_or_stop_in_it_hold_nothing_longer_than_they_may) {
    start({}, {std::chrono::seconds(3), std::chrono::seconds(3)});
    auto expected = held();
    const std::string ask = "GET " + kDownload + "data%2Flarge HTTP/1.1\r\n\r\n";
    const auto send = [&](SSL* tls) { ::send(SSL_get_fd(tls), ask.data(), ask.size(), 0); };
    const std::string openings[] = {"",  {"\x16\x03\x01\x02\0\x01", 6}, "\x1B[2J" + ask,
                                    ask, "\x16\x03\x01\xFF\xFF",        {"\x15\x03\x03\0\2\2\x28", 7}};
    const std::function<void(SSL*)> stops[] = {
        [](SSL*) {},
        [](SSL* tls) { SSL_renegotiate(tls), SSL_do_handshake(tls); },
        [&](SSL* tls) { SSL_shutdown(tls), send(tls); },
        send,
        [](SSL* tls) { SSL_write(tls, "G", 1); },
        [&](SSL* tls) { SSL_write(tls, ask.data(), static_cast<int>(ask.size())); }};
    std::list<SilentClient> clients;
    clients.emplace_back(endpoint_->port(), "\x16\x03"), clients.clear();  // leaves
    for (const std::string& bytes : openings) clients.emplace_back(endpoint_->port(), bytes);
    for (const auto& stop : stops) stop(clients.emplace_back(endpoint_->port(), "").agree_on_tls(context_.get()));
    EXPECT_EQ(status_of(kDownload + "init.lua"), 200);
    expected.first += static_cast<std::ptrdiff_t>(clients.size());
    for (int i = 0; i < 200 && held() != expected; ++i) ::usleep(100000);
    EXPECT_EQ(held(), expected);
    std::string reasons;
    for (const std::string& line : sorted_log()) reasons += line.starts_with("0 0 h") ? line.substr(14) + ";" : "";
    EXPECT_EQ(reasons, "- http request;- packet length too long;- unexpected message;- wrong version number;");
}

TEST_F(EndpointTest, no_request_hides_in_another_that_a_server_in_front_could_read_in_another_way) {
    start();
    const std::string line = "GET " + kDownload + "init.lua HTTP/1.1\r\n";
    const std::string next = line + "Connection: close\r\n\r\n";
    const std::pair<int, std::string> table[] = {
        {2, line + "Accept: */*\r\nX_1:\tvalue\r\n\r\n"},
        {1, line + "Content-Length: 60\r\n\r\n"},
        {1, line + "content-length: 0\r\nContent-Length: 60\r\n\r\n"},
        {1, line + "Connection: keep-alive\r\nTransfer-Encoding: chunked\r\n\r\n"},
        {1, line + "Content-Length : 60\r\n\r\n"},
        {1, line + "X: 1\nContent-Length: 60\r\n\r\n"},
        {1, line + "X: 1\rContent-Length: 60\r\n\r\n"},
        {1, line + "X: 1\r\n folded: 2\r\n\r\n"},
        {1, line + "nothing\r\n\r\n"},
        {1, line + ": 60\r\n\r\n"},
        {1, line + std::string("X: \0\r\n\r\n", 8)},
        {1, "nonsense\r\n\r\n"}};
    for (const auto& [count, head] : table) {
        SilentClient client(endpoint_->port(), "");
        client.agree_on_tls(context_.get());
        const std::string answers = client.answers_to(head + next);
        int found = 0;
        for (std::size_t at = 0; (at = answers.find("HTTP/1.1 ", at)) != std::string::npos; ++at) ++found;
        EXPECT_EQ(found, count) << head << answers;
        EXPECT_NE(answers.find("\r\nConnection: close\r\n") != std::string::npos, head == "nonsense\r\n\r\n") << head;
    }
}

TEST_F(EndpointTest, answers_fail_on_purpose_as_often_as_they_shall_and_then_no_more) {
    std::vector<vandrel_release::FaultRule> rules;
    for (const char* text : {"503:manifest:2", "truncate", "corrupt:download", "close"}) {
        rules.push_back(vandrel_release::parse_fault_rule(text).value());
    }
    start(rules);
    const auto sizes_of = [&](const std::string& target) { return new_client()->Get(target); };
    EXPECT_EQ(status_of(kPath + "?action=manifest&arch=64"), 503);
    EXPECT_EQ(status_of(kPath + "?action=manifest&arch=64"), 503);
    EXPECT_EQ(status_of(kDownload + "none"), 404);
    EXPECT_EQ(sizes_of(kDownload + "data%2Flarge").error(), httplib::Error::Read);
    EXPECT_EQ(sizes_of(kDownload + "init.lua")->body, "prin\x75(2)\n");
    EXPECT_EQ(sizes_of(kDownload + "init.lua").error(), httplib::Error::Read);
    EXPECT_EQ(status_of(kDownload + "init.lua"), 200);
    EXPECT_EQ(sorted_log(),
              (std::vector<std::string>{"200 0/9 download!close 2 init.lua",
                                        "200 10485761/20971523 download!truncate 2 data/large",
                                        "200 9 download 2 init.lua", "200 9 download!corrupt 2 init.lua",
                                        "404 0 download 2 none", "503 0 manifest!503 2", "503 0 manifest!503 2"}));
    for (const char* text : {"", "403", "close:", "close:0", "stall:manifests"}) {
        EXPECT_FALSE(vandrel_release::parse_fault_rule(text)) << text;
    }
}

TEST_F(EndpointTest, a_release_that_goes_while_it_is_served_is_no_damage) {
    start();
    const fs::path second = tree_ / "64/releases/2";
    const httplib::Result whole = new_client()->Get(kDownload + "data%2Flarge", [&](const char*, std::size_t) {
        if (fs::exists(second)) write(tree_ / "64/current", "1\n"), fs::remove_all(second);
        return true;
    });
    EXPECT_TRUE(whole);
    EXPECT_EQ(status_of(kDownload + "init.lua"), 404);
    EXPECT_EQ(new_client()->Get(kPath + "?action=manifest&arch=64")->body, read(tree_ / "64/releases/1/manifest.bin"));
    make_folder(smallest_client());
    ASSERT_EQ(publish("2").exit_code, 0);
    EXPECT_EQ(new_client()->Get(kDownload + "init.lua")->body, "print(1)\n");
    EXPECT_EQ(status_of(kDownload + "data%2Flarge"), 404);
}

TEST_F(EndpointTest, a_client_that_leaves_early_hurts_nobody) {
    start();
    const httplib::Result broken =
        new_client()->Get(kDownload + "data%2Flarge", [](const char*, std::size_t) { return false; });
    EXPECT_EQ(broken.error(), httplib::Error::Canceled);
    EXPECT_EQ(status_of(kDownload + "init.lua"), 200);
    EXPECT_EQ(status_of(kPath + "?x"), 400);
    const std::vector<std::string> log = sorted_log();
    ASSERT_EQ(log.size(), 3U);
    EXPECT_EQ(log[2], "400 0 request - GET /client-brd/updater.php?x");
    const auto is_broken_off = [](const std::string& line) {
        return line.starts_with("200 ") && line.ends_with("/20971523 download 2 data/large");
    };
    EXPECT_TRUE(is_broken_off(log[0]) || is_broken_off(log[1])) << log[0] << log[1];
}

// `serve` in a process of its own, with a pair of certificates made in `tls`; what it prints is read from `output`.
// With `files`, it may have no more than so many files open.
pid_t start_command(const fs::path& tree, const std::string& tls, FILE*& output, rlim_t files = 0) {
    int ends[2] = {};
    EXPECT_EQ(::pipe(ends), 0);
    std::fflush(nullptr);  // or the child would write it once more
    const pid_t child = ::fork();
    if (child == 0) {
        ::dup2(ends[1], STDOUT_FILENO);
        const rlimit limit{files, files};
        if (files > 0) ::setrlimit(RLIMIT_NOFILE, &limit);
        const char* argv[] = {"vandrel-release",    "serve",     "--tree", tree.c_str(),     "--port", "0",
                              "--make-certificate", tls.c_str(), "--host", "updates.example"};
        ::_exit(vandrel_release::run_command_line(std::size(argv), argv, std::cout, std::cerr));
    }
    ::close(ends[1]);
    output = ::fdopen(ends[0], "r");
    return child;
}

// The port that it says it serves.
int port_of(FILE* output) {
    char line[128] = {};
    int port = 0;
    EXPECT_NE(std::fgets(line, sizeof line, output), nullptr);
    EXPECT_EQ(std::sscanf(line, "serving https://127.0.0.1:%d/client-brd/updater.php\n", &port), 1) << line;
    return port;
}

TEST_F(EndpointTest, when_no_more_connections_can_be_held_those_that_have_owed_a_request_the_longest_make_way) {
    FILE* output = nullptr;
    const pid_t child = start_command(tree_, (top_ / "tls").string(), output, 140);  // twenty connections
    const int port = port_of(output);
    std::list<SilentClient> silent;
    const auto began = std::chrono::steady_clock::now();
    for (int i = 0; i < 30; ++i) {
        silent.emplace_back(port, "");
        SSL* tls = silent.emplace_back(port, "").agree_on_tls(context_.get());
        EXPECT_EQ(SSL_write(tls, "POST / HTTP/1.1\r\nContent-Length: 1\r\n\r\n", 38), 38);
    }
    httplib::SSLClient client("127.0.0.1", port);
    trust(client);
    EXPECT_TRUE(client.Get(kDownload + "init.lua"));
    EXPECT_LT(std::chrono::steady_clock::now() - began, std::chrono::seconds(20));  // a step may take 30
    ::kill(child, SIGTERM);
    int status = -1;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    std::fclose(output);
}

TEST_F(EndpointTest, the_command_says_when_it_is_ready_and_ends_with_a_signal) {
    const std::string tls = (top_ / "tls").string();
    FILE* output = nullptr;
    const pid_t child = start_command(tree_, tls, output);
    const int port = port_of(output);
    {
        httplib::SSLClient client("127.0.0.1", port);
        trust(client);
        const httplib::Result result = client.Get(kDownload + "init.lua");
        EXPECT_TRUE(result && result->body == "print(2)\n");
    }
    ::kill(child, SIGTERM);
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
    char line[128] = {};
    EXPECT_NE(std::fgets(line, sizeof line, output), nullptr);
    EXPECT_NE(std::string(line).find(" 200 9 download 2 init.lua\n"), std::string::npos) << line;
    std::fclose(output);
    EXPECT_EQ(fs::status(tls + "/server.key").permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(EndpointTest, what_cannot_be_served_is_refused_in_one_line) {
    start();
    const std::string port = std::to_string(endpoint_->port());
    const std::string tls = (top_ / "tls").string();
    const auto serve = [&](const std::string& tree, const std::string& certificate) {
        return run({"serve", "--tree", tree, "--port", port, "--certificate", certificate, "--certificate-key",
                    tls + "/server.key"})
            .err;
    };
    EXPECT_EQ(serve(tree_, tls + "/server.pem"), "vandrel-release: cannot listen on 127.0.0.1 port " + port + "\n");
    EXPECT_EQ(serve(top_ / "nowhere", tls + "/server.pem"),
              "vandrel-release: " + (top_ / "nowhere").string() + " is not a folder\n");
    EXPECT_EQ(serve(tree_, tls + "/ca.pem"), "vandrel-release: cannot use the certificate " + tls +
                                                 "/ca.pem with the key " + tls + "/server.key: key values mismatch\n");
    EXPECT_EQ(run({"serve", "--tree", tree_.string(), "--make-certificate", tls, "--host", "a,DNS:b"}).err,
              "vandrel-release: a,DNS:b is no host name\n");
}

}  // namespace
}  // namespace release_test
