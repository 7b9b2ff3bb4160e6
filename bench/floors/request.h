// One GET by WinHTTP, in a session of its own.
#pragma once

#include <windows.h>

#include <winhttp.h>

#include <string>

namespace floors {

// What a request asks WinHTTP for: every call that the rules name, or only those without which there is no body.
enum class Calls { prescribed, unavoidable };

class Request {
 public:
    explicit Request(Calls calls) : calls_(calls) {}

    void send(const std::wstring& url);
    void receive();                            // a status other than 200 ends the program, where it is asked for
    DWORD read(void* buffer, DWORD capacity);  // 0: the end
    void close();

 private:
    Calls calls_;
    HINTERNET session_ = nullptr;
    HINTERNET connection_ = nullptr;
    HINTERNET request_ = nullptr;
};

}  // namespace floors
