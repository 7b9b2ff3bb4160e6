// Owners of system handles: move-only, closed once, on every way out.
#pragma once

#include <windows.h>

#include <bcrypt.h>

#include <utility>

namespace vandrel {

// `Kind` gives `Value`, `empty()` and `close(Value)`.
template <typename Kind>
class UniqueHandle {
 public:
    using Value = typename Kind::Value;

    UniqueHandle() = default;
    explicit UniqueHandle(Value value) : value_(value) {}
    UniqueHandle(UniqueHandle&& other) noexcept : value_(std::exchange(other.value_, Kind::empty())) {}
    UniqueHandle& operator=(UniqueHandle&& other) noexcept {
        if (this != &other) {
            reset();
            value_ = std::exchange(other.value_, Kind::empty());
        }
        return *this;
    }
    UniqueHandle(const UniqueHandle&) = delete;
    UniqueHandle& operator=(const UniqueHandle&) = delete;
    ~UniqueHandle() { reset(); }

    Value get() const { return value_; }
    explicit operator bool() const { return value_ != Kind::empty(); }

    void reset() {
        if (value_ == Kind::empty()) return;
        Kind::close(std::exchange(value_, Kind::empty()));
    }

 private:
    Value value_ = Kind::empty();
};

// What stands for "none" is INVALID_HANDLE_VALUE with some calls, null with the others.
struct InvalidWhenEmpty {
    using Value = HANDLE;
    static Value empty() { return INVALID_HANDLE_VALUE; }
};
template <typename Pointer>
struct NullWhenEmpty {
    using Value = Pointer;
    static Value empty() { return nullptr; }
};

// Files and snapshots: CreateFileW, CreateToolhelp32Snapshot.
struct FileHandleKind : InvalidWhenEmpty {
    static void close(Value handle) { CloseHandle(handle); }
};
using FileHandle = UniqueHandle<FileHandleKind>;

// Processes and mutexes: OpenProcess, CreateMutexW.
struct ObjectHandleKind : NullWhenEmpty<HANDLE> {
    static void close(Value handle) {
        if (handle != INVALID_HANDLE_VALUE) CloseHandle(handle);
    }
};
using ObjectHandle = UniqueHandle<ObjectHandleKind>;

struct SearchHandleKind : InvalidWhenEmpty {
    static void close(Value handle) { FindClose(handle); }
};
using SearchHandle = UniqueHandle<SearchHandleKind>;

// A mutex that a wait has given to this thread; the mutex's own handle is somebody else's, and outlives this.
struct MutexOwnershipKind : NullWhenEmpty<HANDLE> {
    static void close(Value mutex) { ReleaseMutex(mutex); }
};
using MutexOwnership = UniqueHandle<MutexOwnershipKind>;

// A block that the system has allocated, to be released with LocalFree.
template <typename Pointer>
struct LocalBlockKind : NullWhenEmpty<Pointer> {
    static void close(Pointer block) { LocalFree(block); }
};
template <typename Pointer>
using LocalBlock = UniqueHandle<LocalBlockKind<Pointer>>;

// CNG.
struct AlgorithmProviderKind : NullWhenEmpty<BCRYPT_ALG_HANDLE> {
    static void close(Value provider) { BCryptCloseAlgorithmProvider(provider, 0); }
};
using AlgorithmProvider = UniqueHandle<AlgorithmProviderKind>;

struct HashHandleKind : NullWhenEmpty<BCRYPT_HASH_HANDLE> {
    static void close(Value hash) { BCryptDestroyHash(hash); }
};
using HashHandle = UniqueHandle<HashHandleKind>;

struct KeyHandleKind : NullWhenEmpty<BCRYPT_KEY_HANDLE> {
    static void close(Value key) { BCryptDestroyKey(key); }
};
using KeyHandle = UniqueHandle<KeyHandleKind>;

}  // namespace vandrel
