#include "settingPictures/renderedSearches.h"

#include "settingPictures/steadyHand.h"

namespace brairu::tool {
namespace {

constexpr int kPeople = 25;
constexpr int kCaptures = 18;

}  // namespace

CaptureSet picturedCaptures(const ConfigDocument& config) {
    RenderedPeople people;
    people.people = kPeople;
    people.captures = kCaptures;
    people.scenario = Scenario::hard;
    people.seed = kPictureSeed;
    Settings silent;
    Report report(silent);
    return collectRendered(people, config, report).set;
}

std::vector<Comparison> searchesOf(const CaptureSet& set, std::size_t captures, int centres) {
    Enrolment enrolment = enrol(set, captures, centres);
    enrolment.probes = enrol(set, kMostEnrolled, 1).probes;
    std::vector<Comparison> comparisons;
    visitSearches(
        set, enrolment, [&](const Comparison& comparison) { comparisons.push_back(comparison); },
        [](std::size_t, std::size_t) {});
    return comparisons;
}

Thresholds thresholdsOf(ConfigDocument& config) {
    return {readFloat(config, "feature", "auth_threshold"),
            readFloat(config, "feature", "filter_threshold")};
}

}  // namespace brairu::tool
