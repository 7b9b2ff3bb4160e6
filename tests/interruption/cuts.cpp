#include "tests/interruption/cuts.h"

#include <array>
#include <stdexcept>
#include <utility>

namespace interruption {
namespace {

constexpr std::array<const char*, 3> kData{"+kept", "+lost", "+torn"};

// The inverse of Loss::name.
std::optional<winsim::Loss> parse_loss(const std::string& text) {
    winsim::Loss loss;
    const std::size_t plus = text.find('+');
    if (plus == std::string::npos) return std::nullopt;
    std::size_t data = 0;
    while (data < kData.size() && text.substr(plus) != kData[data]) ++data;
    if (data == kData.size()) return std::nullopt;
    loss.data = static_cast<winsim::Loss::Data>(data);
    const std::size_t slash = text.find('/');
    if (slash == std::string::npos) {
        for (const char flag : text.substr(0, plus)) loss.kept.push_back(flag == '1');
        return loss;
    }
    const std::size_t kept = std::stoul(text.substr(0, slash));
    loss.kept.assign(std::stoul(text.substr(slash + 1, plus)), false);
    for (std::size_t i = 0; i < kept && i < loss.kept.size(); ++i) loss.kept[i] = true;
    return loss;
}

std::vector<Remains> remains_of(const winsim::Disk& disk, winsim::LossModel model) {
    std::vector<Remains> remains;
    for (winsim::Loss& loss : disk.losses(model)) {
        Snapshot left = disk.snapshot_after(loss);
        const std::uint64_t hash = winsim::Disk::hash(*left);
        remains.push_back({std::move(loss), std::move(left), hash});
    }
    return remains;
}

}  // namespace

std::vector<std::string> split_at_colons(const std::string& text) {
    std::vector<std::string> parts(1);
    for (const char c : text) {
        if (c == ':') {
            parts.emplace_back();
        } else {
            parts.back() += c;
        }
    }
    return parts;
}

std::string text_of(const Point& point) {
    std::string text(1, static_cast<char>(point.run));
    text += std::to_string(point.call);
    if (point.moment == winsim::Moment::before) return text + "b";
    if (point.moment == winsim::Moment::after) return text + "a";
    return text + "i" + std::to_string(point.step);
}

std::optional<Point> parse_point(const std::string& text) {
    const std::size_t end = text.find_first_not_of("0123456789", 1);
    if (text.empty() || (text[0] != 'f' && text[0] != 'c') || end == 1 || end == std::string::npos) return std::nullopt;
    Point point;
    point.run = static_cast<Run>(text[0]);
    point.call = std::stoull(text.substr(1, end - 1));
    point.moment = text[end] == 'b'   ? winsim::Moment::before
                   : text[end] == 'a' ? winsim::Moment::after
                                      : winsim::Moment::inside;
    if (point.moment != winsim::Moment::inside) return point;
    if (text[end] != 'i' || end + 1 == text.size()) return std::nullopt;
    point.step = static_cast<std::uint32_t>(std::stoul(text.substr(end + 1)));
    return point;
}

std::string text_of(const Cut& cut) {
    return text_of(cut.point) + ":" + cut.loss.name();
}

std::vector<Cut> parse_cuts(const std::string& text) {
    std::vector<Cut> cuts;
    const std::vector<std::string> parts = split_at_colons(text);
    for (std::size_t i = 0; i < parts.size(); i += 2) {
        const std::optional<Point> point = parse_point(parts[i]);
        const std::optional<winsim::Loss> loss = i + 1 < parts.size() ? parse_loss(parts[i + 1]) : std::nullopt;
        if (!point || !loss) throw std::invalid_argument("no cut: " + text);
        cuts.push_back({*point, *loss});
    }
    return cuts;
}

void watch_moments(Visit& visit, winsim::LossModel model, AtMoment at_moment) {
    struct Memory {
        Snapshot last;
        std::vector<Remains> remains;
    };
    auto memory = std::make_shared<Memory>();
    visit.machine.world.gate.add_watcher(
        [&visit, model, memory, at_moment = std::move(at_moment)](const winsim::Call& call, winsim::Moment moment) {
            const winsim::Disk& disk = visit.machine.world.disk;
            const bool fresh = !memory->last || disk.changed_since(memory->last);
            if (fresh) {
                memory->last = disk.snapshot();
                memory->remains = remains_of(disk, model);
            }
            at_moment({visit.run_now(), call.number, moment, call.step}, call, memory->remains, fresh);
        });
}

Snapshot run_and_cut(Visit& visit, const Cut& cut) {
    winsim::World& world = visit.machine.world;
    const auto before_run = visit.before_run;
    visit.before_run = [&](Run run) {
        if (before_run) before_run(run);
        if (run == cut.point.run) world.gate.cut_at(cut.point.call, cut.point.moment, cut.point.step);
    };
    const Ending ending = visit.run();
    visit.before_run = before_run;
    if (ending.last().end != winsim::RunResult::End::power_cut) {
        throw std::runtime_error("the visit never comes to " + text_of(cut.point));
    }
    return world.disk.snapshot_after(cut.loss);
}

}  // namespace interruption
