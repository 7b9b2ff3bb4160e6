#include "winsim/bytes.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace winsim {
namespace {

constexpr std::size_t kPieceBytes = 64U << 10U;

std::uint64_t hash_text(const std::string& bytes) {
    std::uint64_t hash = mix(1, bytes.size());
    std::size_t at = 0;
    for (; at + 8 <= bytes.size(); at += 8) {
        std::uint64_t word = 0;
        std::memcpy(&word, bytes.data() + at, 8);
        hash = mix(hash, word);
    }
    for (; at < bytes.size(); ++at) hash = mix(hash, static_cast<unsigned char>(bytes[at]));
    return hash;
}

}  // namespace

std::uint64_t mix(std::uint64_t hash, std::uint64_t value) {
    hash = (hash ^ value) * 0x9E3779B97F4A7C15U;
    return hash ^ (hash >> 29);
}

Bytes::Bytes(std::shared_ptr<const Source> source) : source_(std::move(source)), shown_(source_->size()) {}

Bytes::Bytes(const Bytes& other)
    : text_(other.text_),
      source_(other.source_),
      shown_(other.shown_),
      zeros_(other.zeros_),
      hash_(other.hash_.load(std::memory_order_relaxed)) {}

Bytes::Bytes(Bytes&& other) noexcept
    : text_(std::move(other.text_)), source_(std::move(other.source_)), shown_(other.shown_), zeros_(other.zeros_) {}

void Bytes::read(std::uint64_t offset, char* to, std::size_t count) const {
    if (offset > size() || count > size() - offset) throw std::out_of_range("behind the end of a file");
    const std::uint64_t rest = stored() - std::min(offset, stored());
    const auto copied = static_cast<std::size_t>(std::min<std::uint64_t>(count, rest));
    if (source_ && copied != 0) {
        source_->read(offset, to, copied);
    } else if (copied != 0) {
        std::memcpy(to, text_.data() + offset, copied);
    }
    if (count != copied) std::memset(to + copied, 0, count - copied);
}

std::string Bytes::text() const {
    std::string copy(stored(), '\0');
    read(0, copy.data(), copy.size());
    return copy;
}

void Bytes::set_zeros(std::uint64_t count) {
    zeros_ = count;
    hash_.store(0, std::memory_order_relaxed);
}

Bytes Bytes::torn() const {
    const std::uint64_t half = size() / 2;
    if (!source_) {
        Bytes result(text_);
        result.zeros_ = zeros_;
        std::string& bytes = result.edit();
        std::fill(bytes.begin() + static_cast<std::ptrdiff_t>(half), bytes.end(), '\0');
        return result;
    }
    Bytes result = *this;
    result.shown_ = std::min(shown_, half);
    result.set_zeros(size() - result.shown_);
    return result;
}

std::string& Bytes::edit() {
    if (source_ || zeros_ != 0) {
        text_ = text() + std::string(zeros_, '\0');
        source_.reset();
        zeros_ = 0;
    }
    hash_.store(0, std::memory_order_relaxed);
    return text_;
}

bool Bytes::goes_on_as(const Source& source, std::uint64_t offset, std::string_view data) const {
    const bool can = offset == size() && zeros_ == 0 && (offset == 0 || source_.get() == &source);
    if (!can || offset > source.size() || data.size() > source.size() - offset) return false;
    std::string expected(data.size(), '\0');
    source.read(offset, expected.data(), expected.size());
    return expected == data;
}

void Bytes::write(std::uint64_t offset, std::string_view data, const std::shared_ptr<const Source>& expected) {
    if (expected && goes_on_as(*expected, offset, data)) {
        source_ = expected;
        shown_ = offset + data.size();
        hash_.store(0, std::memory_order_relaxed);
        return;
    }
    std::string& bytes = edit();
    if (offset > bytes.size()) bytes.resize(offset);
    bytes.replace(offset, data.size(), data);
}

bool Bytes::same(const Bytes& other) const {
    if (this == &other) return true;
    if (size() != other.size()) return false;
    if (source_ == other.source_ && stored() == other.stored()) return source_ || text_ == other.text_;
    std::string one(kPieceBytes, '\0');
    std::string two(kPieceBytes, '\0');
    for (std::uint64_t at = 0; at < size(); at += kPieceBytes) {
        const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(kPieceBytes, size() - at));
        read(at, one.data(), count);
        other.read(at, two.data(), count);
        if (std::memcmp(one.data(), two.data(), count) != 0) return false;
    }
    return true;
}

std::uint64_t Bytes::hash() const {
    std::uint64_t hash = hash_.load(std::memory_order_relaxed);
    if (hash == 0) {
        hash = source_ ? mix(mix(2, source_->identity()), shown_) : hash_text(text_);
        if (zeros_ != 0) hash = mix(hash, zeros_);
        hash = hash == 0 ? 1 : hash;
        hash_.store(hash, std::memory_order_relaxed);
    }
    return hash;
}

}  // namespace winsim
