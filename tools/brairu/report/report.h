// The tool's own output: plain text or JSON on standard output, faults and progress on standard
// error. It keeps these streams for itself, so that what the engine writes cannot mix with results.
#pragma once

#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "command.h"
#include "fault.h"

namespace brairu::tool {

using Json = nlohmann::ordered_json;

class Report {
public:
    // Takes copies of the process's standard streams.
    explicit Report(const Settings& settings);

    bool isJson() const { return json_; }
    // Descriptor of the standard error that the user sees.
    int errorDescriptor() const;

    // A line of plain text, whatever is in it; nothing in JSON.
    void say(const std::string& line);

    // The result as a whole, in JSON; nothing in plain text.
    void conclude(const Json& document);

    // One of many results, told as it comes: a line of JSON, or the line of plain text.
    void event(const std::string& line, const Json& document);

    // How far a long piece of work is, on a terminal only. The next output takes its place.
    void progress(const std::string& text);

    // What went wrong, and what to do about it.
    void fail(const Fault& fault);

    void flush();

private:
    struct CloseStream {
        void operator()(std::FILE* stream) const { (void)std::fclose(stream); }
    };
    using Stream = std::unique_ptr<std::FILE, CloseStream>;

    static Stream copyOf(int descriptor);
    void printLine(const Json& document);
    void endProgress();

    Stream out_;
    Stream error_;
    bool json_;
    bool showsProgress_;
    bool inProgress_ = false;
};

}  // namespace brairu::tool
