#include "support/xmlShape.h"

#include <algorithm>
#include <vector>

namespace brairu::test {
namespace {

std::string nameIn(const std::string& tag) {
    return tag.substr(0, tag.find_first_of(" />"));
}

// Takes one tag, without its brackets.
std::string faultOf(const std::string& tag, std::vector<std::string>& open) {
    if (std::count(tag.begin(), tag.end(), '\'') % 2 != 0 || tag.find('<') != std::string::npos) {
        return "a broken tag: " + tag;
    }
    if (tag.ends_with("/")) {
        return "";
    }
    if (!tag.starts_with("/")) {
        open.push_back(nameIn(tag));
        return "";
    }
    if (open.empty() || open.back() != tag.substr(1)) {
        return "closed out of turn: " + tag;
    }
    open.pop_back();
    return "";
}

}  // namespace

std::string xmlFault(const std::string& text) {
    std::vector<std::string> open;
    std::size_t at = 0;
    while ((at = text.find('<', at)) != std::string::npos) {
        const std::size_t end = text.find('>', at);
        if (end == std::string::npos) {
            return "a tag without an end";
        }
        if (const std::string fault = faultOf(text.substr(at + 1, end - at - 1), open);
            !fault.empty()) {
            return fault;
        }
        at = end;
    }
    return text.empty() ? "nothing in it" : open.empty() ? "" : "never closed: " + open.back();
}

}  // namespace brairu::test
