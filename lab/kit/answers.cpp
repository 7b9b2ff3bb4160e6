#include "lab/kit/answers.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>

namespace kit {
namespace {

constexpr const char* kMark = "~wine: ";
constexpr const char* kArrow = " -> ";
const std::string kNotSaid = "(not said)";

const Answer* find(const Answers& answers, const std::string& key) {
    const auto found = std::ranges::find(answers, key, &Answer::key);
    return found == answers.end() ? nullptr : &*found;
}

Answer parse_line(std::string line) {
    Answer answer;
    const std::size_t end = line.find("~ ", 1);
    if (line.starts_with(kMark) && end != std::string::npos) {
        const std::size_t begin = std::string(kMark).size();
        answer.reason = line.substr(begin, end - begin);
        line.erase(0, end + 2);
    }
    const std::size_t arrow = line.find(kArrow);
    if (arrow == std::string::npos) throw std::runtime_error("no answer: " + line);
    answer.key = line.substr(0, arrow);
    answer.value = line.substr(arrow + std::string(kArrow).size());
    return answer;
}

}  // namespace

Answers parse_answers(const std::string& text) {
    Answers answers;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (line.ends_with('\r')) line.pop_back();
        answers.push_back(parse_line(line));
    }
    return answers;
}

void Report::add(const std::string& part, const Answers& expected, const Answers& given) {
    text_ += "\n[" + part + "]\n";
    for (const Answer& wanted : expected) {
        const Answer* said = find(given, wanted.key);
        add_line(said == nullptr ? Answer{wanted.key, kNotSaid} : *said, &wanted);
    }
    for (const Answer& said : given) {
        if (find(expected, said.key) == nullptr) add_line(said, nullptr);
    }
}

void Report::add_line(const Answer& given, const Answer* expected) {
    const bool agrees = expected != nullptr && expected->value == given.value;
    text_ += (agrees ? "  " : "! ") + given.key + kArrow + given.value + "\n";
    ++(agrees ? agreements_ : differences_);
    if (agrees) return;
    text_ += "    expected: " + (expected == nullptr ? kNotSaid : expected->value) + "\n";
    if (expected != nullptr && !expected->reason.empty()) {
        text_ += "    of Wine it is known: " + expected->reason + "\n";
    }
}

void Report::add_failure(const std::string& part, const std::string& why) {
    text_ += "\n[" + part + "]\n# not run: " + why + "\n";
    ++failures_;
}

std::string Report::summary() const {
    return std::to_string(agreements_) + " answers as expected, " + std::to_string(differences_) + " others, " +
           std::to_string(failures_) + " parts not run";
}

}  // namespace kit
