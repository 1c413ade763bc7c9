#pragma once

#include <string>

namespace brairu::test {

// The text of the exception that an action is expected to throw.
template <class Exception, class Action>
std::string thrownBy(Action action) {
    try {
        action();
    } catch (const Exception& fault) {
        return fault.what();
    }
    return "nothing was thrown";
}

}  // namespace brairu::test
