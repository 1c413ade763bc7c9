// What a host believes to be enrolled, kept beside the library and by other means: the measure of
// what a restart must find.
#pragma once

#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace brairu::test {

using Bytes = std::vector<std::uint8_t>;
using PalmName = std::pair<std::int64_t, std::int32_t>;  // userid, palmindex
using Palms = std::map<PalmName, Bytes>;                 // the blob of each

enum class Act : std::uint8_t {
    enrol,      // by captures, to the commit
    add,        // one template
    addRow,     // a template for every centre
    learn,      // a weak match of one template
    update,     // one template
    updateRow,  // a template for every centre
    remove,
    wipe,
    setCentres,  // in the configuration, for the next start
    setBlur      // any other setting of the configuration
};
inline constexpr int kActs = 10;
const char* nameOf(Act act);

// One call, or the calls of one enrolment. Everything in it follows from these numbers.
struct Step {
    Act act = Act::add;
    std::int64_t userid = 0;
    std::int32_t palmindex = 0;
    std::uint32_t seed = 0;
    std::int32_t number = 0;  // the template that learns, the centres or the value to set
};

// Bytes that belong to a seed; those of different seeds are nearly orthogonal.
Bytes templateOf(std::uint32_t seed);
Bytes captureOf(std::uint32_t seed);
Bytes rowOf(std::uint32_t seed, int centres);

// A capture that matches the template, but so weakly that it is learned from.
Bytes weakCaptureOf(const Bytes& row, int index, std::uint32_t seed);

class Ledger {
public:
    explicit Ledger(int centres) : centres_(centres), configuredCentres_(centres) {}

    // Takes a step to have been done.
    void apply(const Step& step);
    // Takes the engine to have been started in a new process: rows fit the configured centres.
    void restart();

    const Palms& palms() const { return palms_; }
    int centres() const { return centres_; }
    int configuredCentres() const { return configuredCentres_; }
    int blur() const { return blur_; }
    // Some of the templates that were enrolled once and must not be found any more.
    const std::vector<Bytes>& gone() const { return gone_; }

private:
    void replace(const PalmName& name, Bytes row);
    void remove(const PalmName& name);
    void learn(const Step& step);
    void forget(const Bytes& row);

    Palms palms_;
    std::vector<Bytes> gone_;
    int centres_;
    int configuredCentres_;
    int blur_ = 0;
};

// Chooses a step that the ledger allows. Users are never named twice.
class StepChooser {
public:
    explicit StepChooser(std::uint32_t seed) : random_(seed) {}
    Step choose(const Ledger& ledger);
    int between(int first, int last);

private:
    Act chooseAct(std::size_t palms);
    std::mt19937 random_;
};

}  // namespace brairu::test
