// Child processes that run the engine, one after the other, on one store.
#pragma once

#include <cstdio>
#include <string>

namespace demo {

// Files of the demonstration, in one folder.
struct DemoFiles {
    std::string folder;

    std::string config() const { return folder + "/brairu.json"; }
    std::string engineLog() const { return folder + "/engine.log"; }
    std::string report(const std::string& phase) const { return folder + "/" + phase + ".json"; }
    std::string tile(int number, const std::string& phase) const {
        return folder + "/tiles/" + phase + "-" + std::to_string(number) + ".png";
    }
    std::string sheet() const { return folder + "/sheet.png"; }
};

// Throws std::runtime_error if the file cannot be written.
void writeText(const std::string& path, const std::string& text);

// Empties the folder and writes the shipped configuration to it, with a store of its own. Throws
// std::runtime_error for a folder with anything else in it than an earlier run left.
void prepareFolder(const DemoFiles& files, const std::string& shippedConfig);

// Runs this program again for one phase. The exit status; -1 if it did not exit.
int runPhase(const std::string& program, const std::string& phase, const DemoFiles& files);

// Sends what the library prints to the log file, so that the terminal shows the demonstration's own
// progress, which goes to the stream that is returned.
std::FILE* divertEngineOutput(const DemoFiles& files);

}  // namespace demo
