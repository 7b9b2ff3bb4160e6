#include "winsim/explore/walks.h"

#include <cstdio>
#include <stdexcept>

#include "winsim/explore/parallel.h"

namespace winsim::explore {
namespace {

Dice dice_of(std::uint64_t seed, std::uint64_t number) {
    return Dice(seed * 1000003 + number);
}

}  // namespace

std::uint64_t Dice::below(std::uint64_t limit) {
    state_ += 0x9E3779B97F4A7C15U;
    std::uint64_t value = state_;
    value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9U;
    value = (value ^ (value >> 27)) * 0x94D049BB133111EBU;
    return (value ^ (value >> 31)) % limit;
}

std::optional<Disturbance> run_at_random(Run& run, const Choice& choice, Dice& dice) {
    const RecordedCall& call = dice.one_of(choice.calls);
    std::optional<Disturbance> disturbance;
    switch (dice.below(5)) {
        case 0: {
            const Moment moment = dice.below(2) == 0 ? Moment::before : Moment::after;
            const CrashPoint point{call.process, call.number, moment, 0};
            if (!run_to(run, point)) return std::nullopt;
            const Loss loss = dice.one_of(run.world().disk.losses(LossModel::journal));
            run.world().lose_power(loss);
            return Cut{point, loss};
        }
        case 1:
            disturbance = FailedCall{call.process, call.number, dice.one_of(choice.errors)};
            break;
        case 2:
            disturbance = Interference{dice.one_of(choice.actions), call.process, call.number};
            break;
        case 3:
            disturbance = Interference{dice.one_of(choice.programs), call.process, 0};
            break;
        default:
            run.run();
            return std::nullopt;
    }
    return run_with(run, *disturbance) ? disturbance : std::nullopt;
}

void walk(std::uint64_t seed, std::uint64_t count, const History& wrong_in, Report& report) {
    for_each_index(count, [&](std::size_t number) {
        if (report.enough()) return;
        Dice dice = dice_of(seed, number);
        const std::string wrong = wrong_in(dice);
        const std::string name = "walk:" + std::to_string(seed) + ":" + std::to_string(number);
        if (!wrong.empty()) report.violated(name, wrong);
    });
    report.count("walks: histories", count);
}

std::string replay_walk(const std::string& text, const History& wrong_in) {
    unsigned long long seed = 0;
    unsigned long long number = 0;
    if (std::sscanf(text.c_str(), "walk:%llu:%llu", &seed, &number) != 2) {
        throw std::invalid_argument("no walk: " + text);
    }
    Dice dice = dice_of(seed, number);
    return wrong_in(dice);
}

}  // namespace winsim::explore
