// The head of an HTTP request as its bytes come in, for one question: would everybody read it as we do?
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace vandrel_release {

// A server in front of this one that finds the end of a request elsewhere takes one client's bytes for another's
// request. That needs a head that leaves room for it.
class RequestHead {
 public:
    // The next bytes; those behind the empty line at the head's end don't count.
    void add(std::string_view bytes);

    // True as long as each line has ended with CR LF and has no other control character but tabs, each behind the
    // first is "NAME: VALUE" with a name of letters, digits and hyphens or underscores, and none speaks of a body.
    bool is_plain() const { return is_plain_; }

 private:
    void end_line();

    std::string line_;
    std::size_t lines_ = 0;
    bool is_plain_ = true;
    bool has_ended_ = false;
};

}  // namespace vandrel_release
