#pragma once

#include "renderer/captureConditions.h"
#include "renderer/palmIdentity.h"

#include <opencv2/core.hpp>

#include <array>
#include <cstdint>

namespace brairu {

// What a frame shows. Another hand is one that is no open palm: a fist, a sign, fingers, a back.
enum class Content { openPalm, otherHand, noHand };

// A camera frame and what is truly in it.
struct RenderedFrame {
    // CV_8UC1, continuous.
    cv::Mat luma;
    // Frame pixels, possibly outside the frame; meaningless without an open palm.
    std::array<cv::Point2f, 7> keyPoints;
    // From the wrist's crease to the tip of the middle finger, frame pixels.
    float handLength;
    Content content;
};

// Where the seven key points of a palm lie in a capture, in frame pixels.
std::array<cv::Point2f, 7> keyPointsIn(const PalmIdentity& identity,
                                       const CaptureConditions& conditions, cv::Size size);

// Draws one capture of a palm. The same arguments give the same bytes.
RenderedFrame render(const PalmIdentity& identity, const CaptureConditions& conditions,
                     cv::Size size);

// Draws frame `number` of an endless series without an open palm: empty and cluttered scenes,
// forearms, fists, pointing fingers, faces and other patches of skin.
RenderedFrame renderWithoutPalm(std::uint64_t seed, int number, cv::Size size);

}  // namespace brairu
