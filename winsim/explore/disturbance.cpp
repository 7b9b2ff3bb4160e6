#include "winsim/explore/disturbance.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <stdexcept>

namespace winsim::explore {
namespace {

// Reads the parts of a text from its front.
class Reader {
 public:
    explicit Reader(const std::string& text) : rest_(text) {}

    bool skip(char expected) {
        if (rest_.empty() || rest_[0] != expected) return false;
        rest_.erase(0, 1);
        return true;
    }
    char letter() {
        if (rest_.empty() || rest_[0] < 'a' || rest_[0] > 'z') throw std::invalid_argument("no letter");
        const char letter = rest_[0];
        rest_.erase(0, 1);
        return letter;
    }
    std::uint64_t number() {
        std::size_t used = 0;
        if (rest_.empty() || rest_[0] < '0' || rest_[0] > '9') throw std::invalid_argument("no number");
        const std::uint64_t number = std::stoull(rest_, &used);
        rest_.erase(0, used);
        return number;
    }
    const std::string& rest() const { return rest_; }
    void end() const {
        if (!rest_.empty()) throw std::invalid_argument("more than expected");
    }

 private:
    std::string rest_;
};

Disturbance read_cut(Reader& reader, CrashPoint point) {
    const char moment = reader.letter();
    if (moment == 'i') {
        point.moment = Moment::inside;
        point.step = static_cast<std::uint32_t>(reader.number());
    } else if (moment == 'a' || moment == 'b') {
        point.moment = moment == 'a' ? Moment::after : Moment::before;
    } else {
        throw std::invalid_argument("no moment");
    }
    const std::optional<Loss> loss = reader.skip('-') ? parse_loss(reader.rest()) : std::nullopt;
    if (!loss) throw std::invalid_argument("no loss");
    return Cut{point, *loss};
}

Disturbance read(const std::string& text) {
    Reader reader(text);
    if (reader.skip('@')) return Interference{reader.rest(), 'p', 0};
    const char process = reader.letter();
    if (reader.skip('=')) {
        if (!reader.skip('n')) throw std::invalid_argument("no allocation");
        const FailedAllocation allocation{process, reader.number()};
        reader.end();
        return allocation;
    }
    const std::uint64_t call = reader.number();
    if (reader.skip('@')) return Interference{reader.rest(), process, call};
    if (!reader.skip('=')) return read_cut(reader, {process, call, Moment::before, 0});
    const FailedCall failed{process, call, static_cast<std::uint32_t>(reader.number())};
    reader.end();
    return failed;
}

std::string place(char process, std::uint64_t call) {
    return call == 0 ? std::string() : process + std::to_string(call);
}

struct Writer {
    std::string operator()(const Cut& cut) const { return text_of(cut.at) + "-" + cut.loss.name(); }
    std::string operator()(const FailedCall& failed) const {
        return place(failed.process, failed.call) + "=" + std::to_string(failed.error);
    }
    std::string operator()(const FailedAllocation& failed) const {
        return failed.process + std::string("=n") + std::to_string(failed.number);
    }
    std::string operator()(const Interference& other) const {
        return place(other.process, other.call) + "@" + other.action;
    }
};

}  // namespace

std::string text_of(const CrashPoint& point) {
    const std::string call = place(point.process, point.call);
    if (point.moment == Moment::before) return call + "b";
    if (point.moment == Moment::after) return call + "a";
    return call + "i" + std::to_string(point.step);
}

std::string text_of(const Disturbance& disturbance) {
    return std::visit(Writer(), disturbance);
}

Schedule parse_schedule(const std::string& text) {
    Schedule schedule;
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find(':', begin), text.size());
        try {
            schedule.push_back(read(text.substr(begin, end - begin)));
        } catch (const std::logic_error& error) {
            throw std::invalid_argument("no disturbance (" + std::string(error.what()) + "): " + text);
        }
        begin = end + 1;
    }
    return schedule;
}

}  // namespace winsim::explore
