#include "winsim/gate.h"

#include <utility>

#include "winsim/trace_text.h"

namespace winsim {
namespace {

std::string moment_text(Moment moment, std::uint32_t step) {
    if (moment == Moment::before) return "cut before";
    if (moment == Moment::after) return "cut after";
    return "cut inside " + std::to_string(step);
}

}  // namespace

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
    if (!described_.empty()) line += " (" + std::exchange(described_, {}) + ")";
    trace_.push_back(line + " " + outcome);
}

}  // namespace winsim
