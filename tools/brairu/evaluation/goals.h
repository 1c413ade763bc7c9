// What the shipped networks are meant to reach on rendered people, beside what they do.
#pragma once

#include "config/configStore.h"
#include "evaluation/evaluation.h"
#include "evaluation/renderedCaptures.h"
#include "report/report.h"
#include "report/section.h"

namespace brairu::tool {

struct Goal {
    std::string what;
    double value = 0.0;
    double wanted = 0.0;
    bool isAtLeast = false;  // else at most
    std::string unit;        // "%" for a share
    bool isTold = true;      // there was enough to tell whether it is met

    bool isMet() const { return isAtLeast ? value >= wanted : value <= wanted; }
};

std::vector<Goal> goalsOf(const Evaluation& evaluation, const DetectionTally& detection,
                          ConfigDocument& config);

Section sectionOf(const std::vector<Goal>& goals);
Json jsonOf(const std::vector<Goal>& goals);

}  // namespace brairu::tool
