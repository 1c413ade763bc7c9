// What every sub-command has in common.
#pragma once

#include <functional>
#include <string>

namespace CLI {
class App;
}

namespace brairu::tool {

class Report;

// The exit status of the tool.
enum class Ending {
    done = 0,         // done, recognised, in order
    no = 1,           // the answer is no: no hand, refused, not recognised
    inputFault = 2,   // wrong usage, or an input that cannot be read
    engineFault = 3,  // the engine or its configuration
};

// Options of the tool as a whole.
struct Settings {
    std::string configPath;
    bool json = false;
    bool verbose = false;
};

using Work = std::function<Ending(const Settings&, Report&)>;

// The tool's command line. A sub-command adds its options to app, and when it is called puts into
// chosen what there is to do.
struct CommandLine {
    CLI::App& app;
    Work& chosen;
};

}  // namespace brairu::tool
