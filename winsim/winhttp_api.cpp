// WinHTTP: sessions, connections, and requests that the scripted endpoint answers.
#include <winhttp.h>

#include <algorithm>
#include <cstring>
#include <string_view>

#include "winsim/call.h"
#include "winsim/disk_impl.h"
#include "winsim/network_impl.h"
#include "winsim/world_impl.h"

namespace {

using winsim::InternetHandle;
using winsim::Response;
using winsim::World;
using HandleKind = winsim::InternetHandle::Kind;
using Stage = winsim::InternetHandle::Stage;

InternetHandle& handle_of(World& world, HINTERNET handle, HandleKind kind, const char* call) {
    InternetHandle* found = world.network.impl().find(handle, kind);
    if (found == nullptr) world.gate.forbid(std::string(call) + " on a handle that isn't open, or of another kind");
    return *found;
}

// Lets `milliseconds` pass, but no more than the receive time-out; false if that is what ended it.
bool wait_for_server(World& world, const InternetHandle& request, std::uint32_t milliseconds) {
    const int limit = request.request.timeouts[3];
    const bool in_time = limit <= 0 || milliseconds <= static_cast<std::uint32_t>(limit);
    world.clock.advance(in_time ? milliseconds : static_cast<std::uint32_t>(limit));
    return in_time;
}

// The bytes that the next read gives, at most `size`; 0 at the end of the body.
std::size_t next_bytes(const InternetHandle& request, std::size_t size, std::uint32_t fault) {
    const Response& response = request.response;
    std::uint64_t count = std::min<std::uint64_t>(size, response.size() - request.delivered);
    if (response.chunk != 0) count = std::min<std::uint64_t>(count, response.chunk);
    if (response.break_at > request.delivered) count = std::min(count, response.break_at - request.delivered);
    // Half of them, but never none where there is one: that would be the end of the body.
    if (fault == winsim::kShortTransfer && count > 1) count /= 2;
    return count;
}

void deliver(World& world, const InternetHandle& request, void* buffer, std::size_t count) {
    const Response& response = request.response;
    if (response.source) {
        response.source->read(request.delivered, static_cast<char*>(buffer), count);
    } else if (count != 0) {
        std::memcpy(buffer, response.body.data() + request.delivered, count);
    }
    world.disk.impl().delivered = response.source;
}

BOOL read_data(World& world, InternetHandle& request, LPVOID buffer, DWORD size, LPDWORD read, std::uint32_t fault) {
    if (!wait_for_server(world, request, request.response.read_ms)) {
        return winsim::fail(world, ERROR_WINHTTP_TIMEOUT, FALSE);
    }
    if (request.delivered >= request.response.break_at) return winsim::fail(world, request.response.break_error, FALSE);
    const std::size_t count = next_bytes(request, size, fault);
    world.clock.advance(count * request.response.byte_ms);
    deliver(world, request, buffer, count);
    request.delivered += count;
    *read = static_cast<DWORD>(count);
    return TRUE;
}

}  // namespace

HINTERNET WINAPI WinHttpOpen(LPCWSTR agent, DWORD access_type, LPCWSTR proxy, LPCWSTR bypass, DWORD flags) {
    return winsim::gated<HINTERNET>("WinHttpOpen", {}, nullptr, [&](World& world) {
        winsim::demand(world, agent != nullptr && proxy == nullptr && bypass == nullptr && flags == 0,
                       "WinHttpOpen with a proxy of its own, flags, or no agent");
        InternetHandle session{HandleKind::session, {}, Stage::made, {}, 0};
        session.request.agent = agent;
        session.request.access_type = access_type;
        return world.network.impl().add(std::move(session));
    });
}

BOOL WINAPI WinHttpSetTimeouts(HINTERNET session, int resolve, int connect, int send, int receive) {
    return winsim::gated<BOOL>("WinHttpSetTimeouts", {}, FALSE, [&](World& world) {
        const int values[4] = {resolve, connect, send, receive};
        std::copy(values, values + 4,
                  handle_of(world, session, HandleKind::session, "WinHttpSetTimeouts").request.timeouts);
        return TRUE;
    });
}

BOOL WINAPI WinHttpSetOption(HINTERNET handle, DWORD option, LPVOID buffer, DWORD size) {
    return winsim::gated<BOOL>("WinHttpSetOption", {}, FALSE, [&](World& world) {
        winsim::demand(world, option == WINHTTP_OPTION_SECURE_PROTOCOLS && size == 4,
                       "WinHttpSetOption of anything but the secure protocols");
        std::memcpy(&handle_of(world, handle, HandleKind::session, "WinHttpSetOption").request.protocols, buffer, 4);
        return TRUE;
    });
}

HINTERNET WINAPI WinHttpConnect(HINTERNET session, LPCWSTR host, INTERNET_PORT port, DWORD reserved) {
    return winsim::gated<HINTERNET>("WinHttpConnect", host, nullptr, [&](World& world) {
        winsim::demand(world, reserved == 0 && *host != L'\0', "WinHttpConnect without a host");
        const InternetHandle& parent = handle_of(world, session, HandleKind::session, "WinHttpConnect");
        InternetHandle connection{HandleKind::connection, parent.request, Stage::made, {}, 0};
        connection.request.host = host;
        connection.request.port = port;
        return world.network.impl().add(std::move(connection));
    });
}

HINTERNET WINAPI WinHttpOpenRequest(HINTERNET connection, LPCWSTR verb, LPCWSTR object, LPCWSTR version,
                                    LPCWSTR referrer, LPCWSTR* accept_types, DWORD flags) {
    return winsim::gated<HINTERNET>("WinHttpOpenRequest", object, nullptr, [&](World& world) {
        winsim::demand(world, version == nullptr && referrer == nullptr && accept_types == nullptr,
                       "WinHttpOpenRequest with a version, a referrer or accepted types");
        winsim::demand(world, (flags & ~WINHTTP_FLAG_SECURE) == 0, "WinHttpOpenRequest with other flags");
        const InternetHandle& parent = handle_of(world, connection, HandleKind::connection, "WinHttpOpenRequest");
        InternetHandle request{HandleKind::request, parent.request, Stage::made, {}, 0};
        request.request.verb = verb;
        request.request.object = *object == L'\0' ? L"/" : object;
        request.request.secure = flags == WINHTTP_FLAG_SECURE;
        if (request.request.port == 0) request.request.port = request.request.secure ? 443 : 80;
        return world.network.impl().add(std::move(request));
    });
}

BOOL WINAPI WinHttpSendRequest(HINTERNET request, LPCWSTR headers, DWORD headers_length, LPVOID optional,
                               DWORD optional_length, DWORD total_length, DWORD_PTR context) {
    return winsim::gated<BOOL>("WinHttpSendRequest", {}, FALSE, [&](World& world) {
        winsim::demand(world, optional == nullptr && optional_length == 0 && total_length == 0 && context == 0,
                       "WinHttpSendRequest with data or a context");
        InternetHandle& sent = handle_of(world, request, HandleKind::request, "WinHttpSendRequest");
        winsim::demand(world, sent.stage == Stage::made, "WinHttpSendRequest twice on one request");
        if (headers != nullptr) {
            const std::wstring_view all = headers;
            sent.request.headers = all.substr(0, headers_length == 0xFFFFFFFFU ? all.size() : headers_length);
        }
        auto& network = world.network.impl();
        network.requests.push_back(sent.request);
        sent.response = network.endpoint(sent.request);
        if (sent.response.send_error != 0) return winsim::fail(world, sent.response.send_error, FALSE);
        sent.stage = Stage::sent;
        return TRUE;
    });
}

BOOL WINAPI WinHttpReceiveResponse(HINTERNET request, LPVOID reserved) {
    return winsim::gated<BOOL>("WinHttpReceiveResponse", {}, FALSE, [&](World& world) {
        InternetHandle& sent = handle_of(world, request, HandleKind::request, "WinHttpReceiveResponse");
        winsim::demand(world, reserved == nullptr && sent.stage == Stage::sent,
                       "WinHttpReceiveResponse on a request that wasn't sent");
        if (!wait_for_server(world, sent, sent.response.answer_ms)) {
            return winsim::fail(world, ERROR_WINHTTP_TIMEOUT, FALSE);
        }
        if (sent.response.receive_error != 0) return winsim::fail(world, sent.response.receive_error, FALSE);
        sent.stage = Stage::answered;
        return TRUE;
    });
}

BOOL WINAPI WinHttpQueryHeaders(HINTERNET request, DWORD level, LPCWSTR name, LPVOID buffer, LPDWORD size,
                                LPDWORD index) {
    return winsim::gated<BOOL>("WinHttpQueryHeaders", {}, FALSE, [&](World& world) {
        const InternetHandle& answered = handle_of(world, request, HandleKind::request, "WinHttpQueryHeaders");
        winsim::demand(world,
                       level == (WINHTTP_QUERY_STATUS_CODE | WINHTTP_QUERY_FLAG_NUMBER) && name == nullptr &&
                           index == nullptr && answered.stage == Stage::answered,
                       "WinHttpQueryHeaders for anything but the status of an answer, as a number");
        if (*size < 4) return winsim::fail(world, ERROR_INSUFFICIENT_BUFFER, FALSE);
        std::memcpy(buffer, &answered.response.status, 4);
        *size = 4;
        return TRUE;
    });
}

BOOL WINAPI WinHttpReadData(HINTERNET request, LPVOID buffer, DWORD size, LPDWORD read) {
    return winsim::gated_with_fault<BOOL>("WinHttpReadData", {}, FALSE, [&](World& world, std::uint32_t fault) {
        if (fault != 0 && fault != winsim::kShortTransfer) return winsim::fail(world, fault, FALSE);
        InternetHandle& answered = handle_of(world, request, HandleKind::request, "WinHttpReadData");
        winsim::demand(world, answered.stage == Stage::answered && size != 0,
                       "WinHttpReadData without an answer, or with no room");
        *read = 0;
        return read_data(world, answered, buffer, size, read, fault);
    });
}

BOOL WINAPI WinHttpCloseHandle(HINTERNET handle) {
    return winsim::gated_release<BOOL>("WinHttpCloseHandle", FALSE, [&](World& world) {
        if (!world.network.impl().close(handle)) world.gate.forbid("WinHttpCloseHandle of a handle that isn't open");
        return TRUE;
    });
}
