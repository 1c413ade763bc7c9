#include "settingPictures/steadyRow.h"

namespace brairu::tool {

FrameRow steadyRow(const std::string& title, std::span<const float> values, const Change& change,
                   const Describe& describe, ConfigDocument& config) {
    FrameRow row;
    row.title = title;
    const PalmIdentity palm = picturedPalm();
    for (const float value : values) {
        CaptureConditions hand = steadyHand(palm);
        change(hand, value);
        Shot& shot = row.shots.emplace_back();
        shot.grey = render(palm, hand, kPictureFrame).luma;
        const Look look = lookAt(shot.grey, config);
        shot.verdict = verdictOf(look);
        shot.accepted = look.capture.isGood();
        describe(shot, look);
    }
    return row;
}

}  // namespace brairu::tool
