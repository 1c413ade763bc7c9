// An evaluation as files: report.md, scores.csv, pictures.
#pragma once

#include <filesystem>
#include <vector>

#include "evaluation/evaluation.h"
#include "report/section.h"

namespace brairu::tool {

// Makes the folder if it is not there. Throws InputFault unless files can be made in it.
void makeReportFolder(const std::filesystem::path& folder);

// Into such a folder. Throws InputFault when something cannot be written. scores.csv is left
// out when there are too many comparisons to list.
void writeEvaluation(const std::filesystem::path& folder, const Evaluation& evaluation,
                     const std::vector<Section>& sections);

}  // namespace brairu::tool
