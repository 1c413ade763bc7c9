// brairu-conformance: does a board's NPU stack keep the contract of npu.h? One line an operation.
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <string>

#include "examination.h"

namespace {

using namespace brairu::conformance;

constexpr char kUsage[] =
    "usage: brairu-conformance [--config FILE] [--answers FOLDER] [--least-cosine C]\n"
    "                          [--write-answers]\n"
    "Calls every operation that the NPU stack and the log have to supply, with the networks of "
    "the\n"
    "configuration, and tells of each what was expected and what was found. The outputs are held\n"
    "against those kept in the folder of answers, which --write-answers makes anew. The least\n"
    "cosine between the two is 0.99 unless told otherwise.\n"
    "Exit status: 0 every operation keeps its contract, 1 one does not, 2 wrong usage or an\n"
    "unreadable file.\n";

enum Ending { kKept = 0, kBroken = 1, kInputFault = 2 };

struct Options {
    std::string config = BRAIRU_DEFAULT_CONFIG;
    std::string answers = BRAIRU_ANSWERS;
    double leastCosine = 0.99;
    bool writeAnswers = false;
};

double cosineFrom(const std::string& text) {
    std::size_t used = 0;
    const double cosine = std::stod(text, &used);
    if (used != text.size() || cosine < -1.0 || cosine > 1.0) {
        throw std::invalid_argument("a cosine lies between -1 and 1");
    }
    return cosine;
}

void setOption(Options& options, const std::string& name, const std::string& value) {
    if (name == "--config") {
        options.config = value;
    } else if (name == "--answers") {
        options.answers = value;
    } else if (name == "--least-cosine") {
        options.leastCosine = cosineFrom(value);
    } else {
        throw std::invalid_argument("unknown option " + name);
    }
}

Options optionsFrom(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string name = argv[i];
        if (name == "--write-answers") {
            options.writeAnswers = true;
        } else if (i + 1 < argc) {
            setOption(options, name, argv[++i]);
        } else {
            throw std::invalid_argument(name + " lacks its value");
        }
    }
    return options;
}

void tell(const Verdict& verdict) {
    if (verdict.isKept()) {
        (void)std::printf("ok         %s\n", verdict.operation.c_str());
    } else if (!verdict.isTried()) {
        (void)std::printf("NOT TRIED  %s: one before it failed\n", verdict.operation.c_str());
    }
    for (const std::string& breach : verdict.breaches) {
        (void)std::printf("FAILED     %s: %s\n", verdict.operation.c_str(), breach.c_str());
    }
}

Ending examine(const Questions& questions) {
    Verdicts verdicts;
    verdicts.examine([&](Journal& journal) { examineLife(questions, journal); });
    for (const auto& refusal : refusals()) {
        verdicts.examine(refusal);
    }
    int kept = 0;
    for (const Verdict& verdict : verdicts.all()) {
        tell(verdict);
        kept += verdict.isKept() ? 1 : 0;
    }
    (void)std::printf("%d of %zu operations keep the contract\n", kept, verdicts.all().size());
    return verdicts.areAllKept() ? kKept : kBroken;
}

Ending writeAnswers(const Questions& questions) {
    const std::vector<Bytes> answers = answersOf(questions);
    for (std::size_t i = 0; i < answers.size(); ++i) {
        if (answers[i].empty()) {
            throw std::runtime_error("the " + questions.networks[i].name + " network did not run");
        }
        writeAnswer(questions.answers, questions.networks[i].name, answers[i]);
    }
    return kKept;
}

Ending run(const Options& options) {
    Questions questions{networksOf(options.config), options.answers, options.leastCosine};
    for (const Network& network : questions.networks) {
        (void)readModels(network);
        (void)pictureOf(options.answers, network.input);
    }
    if (options.writeAnswers) {
        return writeAnswers(questions);
    }
    readAnswers(options.answers, questions.networks);
    return examine(questions);
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    try {
        options = optionsFrom(argc, argv);
    } catch (const std::exception& fault) {
        (void)std::fprintf(stderr, "brairu-conformance: %s\n%s", fault.what(), kUsage);
        return kInputFault;
    }
    try {
        return run(options);
    } catch (const std::exception& fault) {
        (void)std::fprintf(stderr, "brairu-conformance: %s\n", fault.what());
        return kInputFault;
    }
}
