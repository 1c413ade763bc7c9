#include "ledger.h"

#include <algorithm>
#include <cmath>
#include <iterator>

#include "store/palmTemplate.h"
#include "support/plainMatching.h"

namespace brairu::test {
namespace {

constexpr int kLoudest = 80;
constexpr std::size_t kMostGone = 8;

std::uint8_t byteOf(double value) {
    return static_cast<std::uint8_t>(static_cast<std::int8_t>(std::lround(value)));
}

int valueAt(const Bytes& bytes, std::size_t place) {
    return static_cast<std::int8_t>(bytes[place]);
}

Bytes templateAt(const Bytes& row, int index) {
    const auto first = row.begin() + static_cast<std::ptrdiff_t>(kTemplateBytes) * index;
    return {first, first + kTemplateBytes};
}

Bytes repeated(const Bytes& one, int times) {
    Bytes row;
    for (int i = 0; i < times; ++i) {
        row.insert(row.end(), one.begin(), one.end());
    }
    return row;
}

Bytes enrolledRow(std::uint32_t seed, int centres) {
    Bytes one = captureOf(seed);
    one.resize(kTemplateBytes);
    return repeated(one, centres);
}

int templatesIn(const Bytes& row) {
    return static_cast<int>(row.size() / kTemplateBytes);
}

// The template that a search finds first.
int bestTemplate(const Bytes& row, const Bytes& capture) {
    int best = 0;
    double highest = -2;
    for (int index = 0; index < templatesIn(row); ++index) {
        const double similarity = cosine(capture.data(), templateAt(row, index).data());
        if (similarity > highest) {
            highest = similarity;
            best = index;
        }
    }
    return best;
}

}  // namespace

const char* nameOf(Act act) {
    constexpr const char* kNames[kActs] = {"enrol",      "add",       "addRow", "learn",
                                           "update",     "updateRow", "remove", "wipe",
                                           "setCentres", "setBlur"};
    return kNames[static_cast<int>(act)];
}

Bytes templateOf(std::uint32_t seed) {
    std::mt19937 random(seed);
    std::uniform_int_distribution<int> value(-kLoudest, kLoudest);
    Bytes bytes(kTemplateBytes);
    std::ranges::generate(bytes, [&] { return byteOf(value(random)); });
    return bytes;
}

Bytes captureOf(std::uint32_t seed) {
    Bytes bytes = templateOf(seed);
    bytes.resize(kFeatureBytes);
    return bytes;
}

Bytes rowOf(std::uint32_t seed, int centres) {
    Bytes row;
    for (int index = 0; index < centres; ++index) {
        const Bytes one = templateOf(seed + static_cast<std::uint32_t>(index));
        row.insert(row.end(), one.begin(), one.end());
    }
    return row;
}

Bytes weakCaptureOf(const Bytes& row, int index, std::uint32_t seed) {
    const Bytes stored = templateAt(row, index);
    const Bytes noise = templateOf(seed);
    Bytes capture(kFeatureBytes);
    for (std::size_t i = 0; i < capture.size(); ++i) {
        capture[i] = byteOf(0.65 * valueAt(stored, i) + 0.76 * valueAt(noise, i));
    }
    return capture;
}

void Ledger::apply(const Step& step) {
    const PalmName name{step.userid, step.palmindex};
    switch (step.act) {
        case Act::enrol: palms_[name] = enrolledRow(step.seed, centres_); break;
        case Act::add: palms_[name] = repeated(templateOf(step.seed), centres_); break;
        case Act::addRow: palms_[name] = rowOf(step.seed, centres_); break;
        case Act::learn: learn(step); break;
        case Act::update: replace(name, repeated(templateOf(step.seed), centres_)); break;
        case Act::updateRow: replace(name, rowOf(step.seed, centres_)); break;
        case Act::remove: remove(name); break;
        case Act::wipe:
            while (!palms_.empty()) {
                remove(palms_.begin()->first);
            }
            break;
        case Act::setCentres: configuredCentres_ = step.number; break;
        case Act::setBlur: blur_ = step.number; break;
    }
}

void Ledger::restart() {
    if (configuredCentres_ == centres_) {
        return;
    }
    for (auto& [name, row] : palms_) {
        const Bytes first = templateAt(row, 0);
        while (templatesIn(row) < configuredCentres_) {
            row.insert(row.end(), first.begin(), first.end());
        }
        row.resize(static_cast<std::size_t>(configuredCentres_) * kTemplateBytes);
    }
    centres_ = configuredCentres_;
}

void Ledger::replace(const PalmName& name, Bytes row) {
    forget(palms_.at(name));
    palms_[name] = std::move(row);
}

void Ledger::remove(const PalmName& name) {
    forget(palms_.at(name));
    palms_.erase(name);
}

void Ledger::learn(const Step& step) {
    Bytes& row = palms_.at({step.userid, step.palmindex});
    const Bytes capture = weakCaptureOf(row, step.number, step.seed);
    const int index = bestTemplate(row, capture);
    std::ranges::copy(learned(templateAt(row, index), capture),
                      row.begin() + static_cast<std::ptrdiff_t>(kTemplateBytes) * index);
}

void Ledger::forget(const Bytes& row) {
    gone_.push_back(templateAt(row, 0));
    if (gone_.size() > kMostGone) {
        gone_.erase(gone_.begin());
    }
}

int StepChooser::between(int first, int last) {
    return std::uniform_int_distribution<int>(first, last)(random_);
}

Act StepChooser::chooseAct(std::size_t palms) {
    constexpr std::size_t kFew = 3;
    constexpr std::size_t kMany = 10;
    const int roll = between(0, 99);
    if (palms < kFew) {
        return static_cast<Act>(roll % 3);
    }
    if (roll < 3) {
        return Act::wipe;
    }
    if (roll < 7) {
        return Act::setCentres;
    }
    if (roll < 12) {
        return Act::setBlur;
    }
    if (palms > kMany || roll < 32) {
        return Act::remove;
    }
    return static_cast<Act>(roll % 6);
}

Step StepChooser::choose(const Ledger& ledger) {
    Step step;
    step.act = chooseAct(ledger.palms().size());
    step.seed = static_cast<std::uint32_t>(random_());
    step.userid = static_cast<std::int64_t>(step.seed) << 8;
    step.palmindex = between(0, 1);
    const bool onPalm = step.act == Act::learn || step.act == Act::update ||
                        step.act == Act::updateRow || step.act == Act::remove;
    if (onPalm) {
        const auto palm = std::next(ledger.palms().begin(),
                                    between(0, static_cast<int>(ledger.palms().size()) - 1));
        std::tie(step.userid, step.palmindex) = palm->first;
    }
    switch (step.act) {
        case Act::learn: step.number = between(0, ledger.centres() - 1); break;
        case Act::setCentres: step.number = ledger.configuredCentres() == 1 ? 3 : 1; break;
        case Act::setBlur: step.number = between(1, 9999); break;
        default: break;
    }
    return step;
}

}  // namespace brairu::test
