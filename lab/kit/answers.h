// What was asked of a Windows and what it answered, in lines "KEY -> VALUE" (lab/probes/probe.h), and the report on it.
#pragma once

#include <string>
#include <vector>

namespace kit {

struct Answer {
    std::string key;
    std::string value;
    std::string reason = {};  // why Wine answers otherwise, "" if it doesn't
};
using Answers = std::vector<Answer>;

// Throws std::runtime_error with the first line that is none.
Answers parse_answers(const std::string& text);

// Grows part by part; docs/how-it-is-tested.md tells what becomes of it, lab/kit/make.py reads it.
class Report {
 public:
    // All answers of a part, those that aren't as expected marked by "!", with what was expected below.
    void add(const std::string& part, const Answers& expected, const Answers& given);
    // A part that could not be asked.
    void add_failure(const std::string& part, const std::string& why);

    std::string summary() const;  // one line
    const std::string& text() const { return text_; }

 private:
    void add_line(const Answer& given, const Answer* expected);

    std::string text_;
    int agreements_ = 0;
    int differences_ = 0;
    int failures_ = 0;
};

}  // namespace kit
