#include "winsim/gate.h"

#include <cstdio>
#include <utility>

#include "winsim/call.h"

namespace winsim {
namespace {

void append_utf8(std::string& text, std::uint32_t point) {
    const auto put = [&text](std::uint32_t byte) { text += static_cast<char>(static_cast<unsigned char>(byte)); };
    if (point < 0x80) {
        put(point);
    } else if (point < 0x800) {
        put(0xC0 | (point >> 6));
        put(0x80 | (point & 0x3F));
    } else {
        put(0xE0 | (point >> 12));
        put(0x80 | ((point >> 6) & 0x3F));
        put(0x80 | (point & 0x3F));
    }
}

// For a person's eye: each unit is written by itself, also the two halves of a pair.
std::string readable(std::wstring_view units) {
    std::string text;
    for (const wchar_t unit : units) append_utf8(text, static_cast<std::uint32_t>(unit) & 0xFFFFU);
    return text;
}

std::string moment_text(Moment moment, std::uint32_t step) {
    if (moment == Moment::before) return "cut before";
    if (moment == Moment::after) return "cut after";
    return "cut inside " + std::to_string(step);
}

}  // namespace

std::string outcome_text(std::int64_t value, bool hexadecimal) {
    if (value >= -1 && (!hexadecimal || value <= 9)) return "-> " + std::to_string(value);
    char digits[24];
    const auto bits = static_cast<unsigned long long>(value);
    std::snprintf(digits, sizeof digits, "-> 0x%llx", hexadecimal ? bits : bits & 0xFFFFFFFFULL);
    return digits;
}

void Gate::set_fault_rule(FaultRule rule) {
    fault_rule_ = std::move(rule);
}

void Gate::add_watcher(Watcher watcher) {
    watchers_.push_back(std::move(watcher));
    refresh();
}

void Gate::clear_rules() {
    fault_rule_ = nullptr;
    watchers_.clear();
    cut_number_ = 0;
    cut_now_ = false;
    refresh();
}

void Gate::cut_at(std::uint64_t number, Moment moment, std::uint32_t step) {
    cut_number_ = number;
    cut_moment_ = moment;
    cut_step_ = moment == Moment::inside ? step : 0;
    refresh();
}

void Gate::cut_now() {
    cut_now_ = true;
    refresh();
}

void Gate::keep_trace(bool keep) {
    tracing_ = keep;
    refresh();
}

void Gate::reset() {
    calls_ = 0;
    trace_.clear();
    dead_ = false;
    forbidden_.clear();
    stopped_ = false;
}

void Gate::inside(std::uint32_t step) {
    if (!attended_ || depth_ != 1 || current_ == nullptr) return;
    current_->step = step;
    moment(*current_, Moment::inside);
    current_->step = 0;
}

void Gate::forbid(std::string reason) {
    if (forbidden_.empty()) forbidden_ = std::move(reason);
    stopped_ = true;
    throw ForbiddenCall{forbidden_};
}

void Gate::refuse() const {
    if (dead_) throw PowerCut{};
    throw ForbiddenCall{forbidden_};
}

void Gate::moment(const Call& call, Moment moment) {
    const std::uint32_t error_of_the_call = last_error;
    for (std::size_t i = 0; i < watchers_.size(); ++i) watchers_[i](call, moment);
    last_error = error_of_the_call;
    if (!cut_due(call, moment)) return;
    dead_ = true;
    stopped_ = true;
    if (tracing_) write_trace(call, moment_text(moment, call.step));
    throw PowerCut{};
}

bool Gate::cut_due(const Call& call, Moment moment) {
    const bool reached = cut_number_ == call.number && cut_moment_ == moment && cut_step_ == call.step;
    if (!reached && !cut_now_) return false;
    if (reached) cut_number_ = 0;
    cut_now_ = false;
    refresh();
    return true;
}

void Gate::write_trace(const Call& call, const std::string& outcome) {
    std::string line = std::to_string(call.number) + " ";
    line += call.name;
    if (!call.subject.empty()) line += " " + readable(call.subject);
    trace_.push_back(line + " " + outcome);
}

}  // namespace winsim
