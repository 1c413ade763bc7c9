// Faults that end a command, with what the user can do about them.
#pragma once

#include <stdexcept>
#include <string>
#include <utility>

#include "command.h"

namespace brairu::tool {

class Fault : public std::runtime_error {
public:
    Fault(Ending ending, const std::string& message, std::string advice)
        : std::runtime_error(message), ending_(ending), advice_(std::move(advice)) {}

    Ending ending() const { return ending_; }
    const std::string& advice() const { return advice_; }

private:
    Ending ending_;
    std::string advice_;
};

// Of what the user named: a file, a size, an option.
class InputFault : public Fault {
public:
    InputFault(const std::string& message, std::string advice)
        : Fault(Ending::inputFault, message, std::move(advice)) {}
};

// Of a source of frames that gives no more: unlike past a frame that cannot be read, there is no
// going on.
class SourceFault : public Fault {
public:
    SourceFault(const std::string& message, std::string advice)
        : Fault(Ending::inputFault, message, std::move(advice)) {}
};

// Of the configuration, the networks, the store or the engine.
class EngineFault : public Fault {
public:
    EngineFault(const std::string& message, std::string advice)
        : Fault(Ending::engineFault, message, std::move(advice)) {}
};

}  // namespace brairu::tool
