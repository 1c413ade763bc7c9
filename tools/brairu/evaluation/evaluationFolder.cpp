#include "evaluation/evaluationFolder.h"

#include <unistd.h>

#include <fstream>
#include <sstream>

#include "evaluation/evaluationPictures.h"
#include "fault.h"
#include "report/numbers.h"
#include "report/printable.h"

namespace brairu::tool {
namespace {

using Path = std::filesystem::path;

[[noreturn]] void refuse(const Path& path) {
    throw InputFault(path.string() + " cannot be written",
                     "Name a folder that you may write to, on a disk with room.");
}

void write(const Path& path, const std::string& text) {
    std::ofstream file(path);
    file << text << std::flush;
    if (!file) {
        refuse(path);
    }
}

// Of a file that is read line by line. Quoted where a comma or a quote asks for it.
std::string cell(const std::string& name) {
    const std::string text = printable(name);
    if (text.find_first_of(",\"") == std::string::npos) {
        return text;
    }
    std::string quoted(1, '"');
    for (const char letter : text) {
        quoted.append(letter == '"' ? 2 : 1, letter);
    }
    quoted.push_back('"');
    return quoted;
}

std::string scoreTable(const Evaluation& evaluation) {
    constexpr int kDigits = 4;
    const CaptureSet& set = evaluation.set();
    std::ostringstream text;
    text << "probe,reference,same,block0,block1,block2\n";
    for (const ListedScore& listed : evaluation.list()) {
        const EvaluatedCapture& probe = set.captures[listed.probe];
        const bool isSame = probe.palm == listed.referencePalm;
        text << cell(probe.name) << ','
             << cell(evaluation.enrolment() ? set.palms[listed.referencePalm]
                                            : set.captures[listed.reference].name)
             << (isSame ? ",1" : ",0");
        for (const float score : listed.scores) {
            text << ',' << rounded(static_cast<double>(score), kDigits);
        }
        text << '\n';
    }
    return text.str();
}

std::string reportText(const std::vector<Section>& sections, bool hasConditions) {
    std::string text =
        "# Evaluation\n\n![Similarity of captures](histograms.svg)\n\n"
        "![Missed against mistaken palms](tradeoff.svg)\n\n";
    if (hasConditions) {
        text += "![Errors by condition](conditions.svg)\n\n";
    }
    for (const Section& section : sections) {
        text += markdownOf(section);
    }
    return text;
}

}  // namespace

void makeReportFolder(const Path& folder) {
    std::error_code fault;
    std::filesystem::create_directories(folder, fault);
    if (fault || ::access(folder.c_str(), W_OK | X_OK) != 0) {
        refuse(folder);
    }
}

void writeEvaluation(const Path& folder, const Evaluation& evaluation,
                     const std::vector<Section>& sections) {
    const bool hasConditions = !evaluation.traits().empty();
    write(folder / "report.md", reportText(sections, hasConditions));
    write(folder / "histograms.svg", drawHistograms(evaluation));
    write(folder / "tradeoff.svg", drawTradeOff(evaluation));
    if (hasConditions) {
        write(folder / "conditions.svg", drawConditions(evaluation));
    }
    if (!evaluation.list().empty()) {
        write(folder / "scores.csv", scoreTable(evaluation));
    }
}

}  // namespace brairu::tool
