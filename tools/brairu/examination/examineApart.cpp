#include "examination/examineApart.h"

#include <sys/mman.h>
#include <unistd.h>

#include <array>

#include "utils/fileDescriptor.h"

namespace brairu::tool {
namespace {

constexpr std::array<const char*, 4> kLevels{"ok", "note", "warning", "fault"};

Level levelNamed(const std::string& name) {
    for (std::size_t level = 0; level < kLevels.size(); ++level) {
        if (name == kLevels[level]) {
            return static_cast<Level>(level);
        }
    }
    return Level::fault;
}

Json jsonOf(const Findings& findings) {
    Json list = Json::array();
    for (const Finding& finding : findings) {
        list.push_back(tool::jsonOf(finding));
    }
    return list;
}

Findings findingsFrom(const std::string& text) {
    Findings findings;
    for (const Json& json : Json::parse(text)) {
        findings.push_back({levelNamed(json["level"]), json["area"], json["what"],
                            json.value("advice", std::string())});
    }
    return findings;
}

void writeAll(int descriptor, const std::string& text) {
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t written = ::write(descriptor, text.data() + done, text.size() - done);
        if (written <= 0) {
            throw EngineFault("no memory for the findings", "Close other programs.");
        }
        done += static_cast<std::size_t>(written);
    }
}

std::string contentOf(int descriptor) {
    std::string text;
    std::array<char, 4096> piece{};
    ::lseek(descriptor, 0, SEEK_SET);
    for (ssize_t bytes = 0; (bytes = ::read(descriptor, piece.data(), piece.size())) > 0;) {
        text.append(piece.data(), static_cast<std::size_t>(bytes));
    }
    return text;
}

// Faults that an examination throws are findings too.
Findings survived(const std::function<Findings()>& look, const std::string& area,
                  const std::string& subject) {
    try {
        return look();
    } catch (const Fault& fault) {
        return {{Level::fault, area, subject + fault.what(), fault.advice()}};
    } catch (const std::exception& fault) {
        return {{Level::fault, area, subject + fault.what(), "Run it again with --verbose."}};
    }
}

}  // namespace

Json jsonOf(const Finding& finding) {
    Json json{{"level", kLevels[static_cast<std::size_t>(finding.level)]},
              {"area", finding.area},
              {"what", finding.what}};
    if (!finding.advice.empty()) {
        json["advice"] = finding.advice;
    }
    return json;
}

ApartFindings examineApart(const std::function<Findings()>& look, const std::string& area,
                           const std::string& subject, Report& report, bool showLines) {
    const FileDescriptor store(::memfd_create("findings", MFD_CLOEXEC));
    const auto work = [&] {
        const Json json = jsonOf(survived(look, area, subject));
        writeAll(store.get(), json.dump(-1, ' ', false, Json::error_handler_t::replace));
        return Ending::done;
    };
    ApartFindings result;
    result.end = runApart(work, report, showLines);
    if (result.end.verdict == Ending::done) {
        result.findings = findingsFrom(contentOf(store.get()));
    } else {
        const EngineFault fault = explainedEnd(result.end);
        result.findings = {{Level::fault, area, subject + fault.what(), ""}};
    }
    return result;
}

}  // namespace brairu::tool
