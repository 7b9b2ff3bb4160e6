// What a file holds: bytes of its own, or the beginning of something that lies outside the simulation; and zeros behind
// them, which take no memory.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace winsim {

// Content from outside, which is read where it lies and never copied as a whole. It never changes. Any thread.
class Source {
 public:
    virtual ~Source() = default;
    virtual std::uint64_t size() const = 0;
    // All of these bytes exist. What it throws leaves the platform call that wanted them.
    virtual void read(std::uint64_t offset, char* to, std::size_t count) const = 0;
    // Another number for each content, as far as 64 bits can tell; the same each time.
    virtual std::uint64_t identity() const = 0;
};

// A step of a 64-bit hash.
std::uint64_t mix(std::uint64_t hash, std::uint64_t value);

class Bytes {
 public:
    Bytes() = default;
    explicit Bytes(std::string text) : text_(std::move(text)) {}
    explicit Bytes(std::shared_ptr<const Source> source);  // all of it
    Bytes(const Bytes& other);
    Bytes(Bytes&& other) noexcept;
    Bytes& operator=(const Bytes&) = delete;

    std::uint64_t size() const { return stored() + zeros_; }
    void read(std::uint64_t offset, char* to, std::size_t count) const;  // within the size
    std::string text() const;                                            // a copy; the zeros are left out
    void set_zeros(std::uint64_t count);
    // Of the same size; the second half is zeros.
    Bytes torn() const;
    // Writes as a file does: what lies between the end and `offset` becomes zeros. What only goes on as `expected`
    // does, from the first byte on, stays a view of it. `expected` may be null.
    void write(std::uint64_t offset, std::string_view data, const std::shared_ptr<const Source>& expected);

    bool same(const Bytes& other) const;  // byte for byte
    // With the digest remembered. Of what lies outside it is told by the source's identity, so that the same bytes may
    // have another hash as the file's own.
    std::uint64_t hash() const;

 private:
    std::uint64_t stored() const { return source_ ? shown_ : text_.size(); }
    std::string& edit();  // all of it as bytes of its own
    bool goes_on_as(const Source& source, std::uint64_t offset, std::string_view data) const;

    std::string text_;
    std::shared_ptr<const Source> source_;  // null: `text_`
    std::uint64_t shown_ = 0;               // of the source
    std::uint64_t zeros_ = 0;
    mutable std::atomic<std::uint64_t> hash_{0};  // 0: not computed
};

}  // namespace winsim
