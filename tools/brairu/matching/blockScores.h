// The similarities of two captures, block by block, as a search computes them.
#pragma once

#include "match/authentication.h"

namespace brairu::tool {

float firstBlockScore(const CaptureBlocks& probe, const CaptureBlocks& stored);

BlockSimilarities searchSimilarities(const CaptureBlocks& probe, const CaptureBlocks& stored);

}  // namespace brairu::tool
